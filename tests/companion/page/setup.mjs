// One viewer's page and one fake host around a real room server. The page is in the browser that VANTORA_BROWSER names,
// the fake host, which is a WebRTC library of the real one's kind, always in Chromium.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { after, before, test } from 'node:test';
import { Browser, browserName } from '../../e2e/lib/browser.mjs';
import { RoomServer } from '../../e2e/lib/room-server.mjs';
import { until } from '../../e2e/lib/wait.mjs';

export { placeOnPage as pointOnImage } from '../../e2e/lib/viewer.mjs';

let count = 0;

export function newRoom() {
  return `room-${++count}`;
}

// `page`: one to use again; a new one otherwise.
export async function openViewer({ server, browser }, room, query = '', page = undefined) {
  page ??= await browser.page();
  await page.goto(`${server.address}/?room=${encodeURIComponent(room)}${query}`);
  return page;
}

// A page in which `host` is a FakeHost that has joined the room. It has made no offer yet.
export async function openFakeHost({ server, hostBrowser }, room, options = {}, page = undefined) {
  if (!page) {
    page = await hostBrowser.page();
    const body = await readFile(new URL('fake-host.mjs', import.meta.url), 'utf8');
    await page.route(`${server.address}/fake-host.mjs`, (route) => route.fulfill({ body, contentType: 'text/javascript' }));
  }
  // A document that the server itself sends: a page that the test generates would count as foreign, and Chromium blocks
  // connections of such pages to this machine.
  await page.goto(`${server.address}/style/base.css`);
  await page.evaluate(async ([room, options]) => {
    const { FakeHost } = await import('/fake-host.mjs');
    globalThis.host = new FakeHost(room, options);
    await host.join();
  }, [room, options]);
  return page;
}

// Both of them, connected.
export async function connectedPair(context, { room = newRoom(), options = {}, query = '' } = {}, pages = {}) {
  const host = await openFakeHost(context, room, options, pages.host);
  const viewer = await openViewer(context, room, query, pages.viewer);
  await isConnected(viewer);
  // The page requests a quality after the host's first message: both ends have their channels then.
  await untilReceived(host, 'quality');
  return { host, viewer, room };
}

export const dataset = (page, key) => page.evaluate((key) => document.body.dataset[key], key);

export async function hasState(page, key, value, deadline) {
  let seen;
  await until(async () => (seen = await dataset(page, key)) === value, { deadline, what: `${key} ${value}` }).catch((e) => {
    throw new Error(`${e.message}; it is ${seen}; the page said ${page.said.slice(-6).join(' | ')}`);
  });
}

// The errors that the page had. Firefox reports the end of a connection whose other side is gone as one.
export const errorsOf = (page) => page.said.filter((line) => line.startsWith('error: ') && !line.startsWith('error: ICE failed'));

// Connected, with video and an open channel for control messages.
export async function isConnected(page, deadline = 60000) {
  await hasState(page, 'connection', 'connected', deadline);
  await until(() => page.evaluate(() => vantora.channels().control_reliable?.readyState === 'open'), {
    what: 'the control channel',
  });
  await until(() => page.evaluate(() => document.getElementById('screen').videoWidth > 0), { what: 'video' });
}

export async function takeControl(viewer, pin = '123456') {
  await viewer.fill('#pin', pin);
  await viewer.press('#pin', 'Enter');
}

export async function inControl(pair) {
  await takeControl(pair.viewer);
  await hasState(pair.viewer, 'control', 'on');
}

// The messages of one type that the fake host has received.
export const receivedMessages = (host, type) => host.evaluate((type) => globalThis.host.received(type), type);

// Waits until the fake host has received at least `minimum` messages of a type; returns them.
export function untilReceived(host, type, minimum = 1) {
  return until(async () => {
    const all = await receivedMessages(host, type);
    return all.length >= minimum && all;
  }, { what: `${minimum} ${type}` });
}

// The fake host forgets what it has received.
export const forget = ({ host }) => host.evaluate(() => { globalThis.host.messages = []; });

// Everything the viewer has sent so far has reached the host once this resolves.
export async function settled(pair) {
  const t0 = Math.floor(Math.random() * 1e9);
  await pair.viewer.evaluate((t0) => vantora.send({ type: 'ping', t0 }), t0);
  await until(async () => (await receivedMessages(pair.host, 'ping')).some((ping) => ping.t0 === t0), {
    what: 'the ping',
  });
}

// What the tests of a process share: the room server, the browsers, and the pages of pairTest.
const context = {};
const pages = {};
let started = false;
let markedOnly = false;

// From now on only tests with the option `firefox` are registered, and the viewer's page is in Firefox.
export function onlyFirefoxTests() {
  process.env.VANTORA_BROWSER = 'firefox';
  markedOnly = true;
}

// Tests of the page: pageTest(name, options, body) runs `body` with the server and the browsers. One with the option
// `firefox: true` is run in Firefox as well (suite "page_firefox").
export function pageTests() {
  if (!started) {
    started = true;
    before(async () => {
      const startHosts = () => (browserName() === 'chromium' ? null : Browser.start({ name: 'chromium' }));
      [context.server, context.browser, context.hostBrowser] =
        await Promise.all([RoomServer.start(), Browser.start(), startHosts()]);
      context.hostBrowser ??= context.browser;
    });
    after(async () => {
      const browsers = new Set([context.browser, context.hostBrowser]);
      await Promise.all([...browsers].map((each) => each?.end()));
      await context.server?.end();
    });
  }
  const pageTest = (name, options, body) => (options.firefox || !markedOnly) && test(name, () => body(context));
  return { context, pageTest };
}

// Tests with a pair: pairTest(name, options, body) runs `body` with a connected pair in a room of its own and fails when
// the viewer's page had an error; `options` are those of pageTest and connectedPair. sendFromHost(pair, message) sends as
// the host. The pages are reloaded for each test; their tabs are reused, as new ones take longer than the tests.
export function pairTests() {
  const { pageTest } = pageTests();
  const pairTest = (name, options, body) => pageTest(name, options, async () => {
    await pages.viewer?.setViewportSize({ width: 1280, height: 720 });
    if (pages.viewer) pages.viewer.said.length = 0;
    const pair = await connectedPair(context, options, pages);
    Object.assign(pages, { host: pair.host, viewer: pair.viewer });
    await body(pair);
    assert.deepEqual(errorsOf(pair.viewer), []);
  });
  const sendFromHost = ({ host }, message) => host.evaluate((message) => globalThis.host.send(message), message);
  return { pairTest, sendFromHost };
}

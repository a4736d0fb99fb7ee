// One viewer's page and one fake host, in the same browser, around a real room server.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { after, before, test } from 'node:test';
import { Browser } from '../e2e/lib/browser.mjs';
import { RoomServer } from '../e2e/lib/room-server.mjs';
import { until } from '../e2e/lib/wait.mjs';

export { placeOnPage as pointOnImage } from '../e2e/lib/viewer.mjs';

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
export async function openFakeHost({ server, browser }, room, options = {}, page = undefined) {
  if (!page) {
    page = await browser.page();
    const body = await readFile(new URL('page/fake-host.mjs', import.meta.url), 'utf8');
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

// Everything the viewer has sent so far has reached the host once this resolves.
export async function settled(pair) {
  const t0 = Math.floor(Math.random() * 1e9);
  await pair.viewer.evaluate((t0) => vantora.send({ type: 'ping', t0 }), t0);
  await until(async () => (await receivedMessages(pair.host, 'ping')).some((ping) => ping.t0 === t0), {
    what: 'the ping',
  });
}

// A file of tests around one browser and one server: pairTest(name, options, body) runs `body` with a connected pair in
// a room of its own and fails when the viewer's page had an error; sendFromHost(pair, message) sends as the host. The
// pages are reloaded for each test; their tabs are reused, as new ones take longer than the tests.
export function pairTests() {
  const context = {};
  const pages = {};
  before(async () => {
    context.server = await RoomServer.start();
    context.browser = await Browser.start();
  });
  after(async () => {
    await context.browser?.end();
    await context.server?.end();
  });
  const pairTest = (name, options, body) => test(name, async () => {
    await pages.viewer?.setViewportSize({ width: 1280, height: 720 });
    if (pages.viewer) pages.viewer.said.length = 0;
    const pair = await connectedPair(context, options, pages);
    Object.assign(pages, { host: pair.host, viewer: pair.viewer });
    await body(pair);
    assert.deepEqual(pair.viewer.said.filter((line) => line.startsWith('error: ')), []);
  });
  const sendFromHost = ({ host }, message) => host.evaluate((message) => globalThis.host.send(message), message);
  return { pairTest, sendFromHost };
}

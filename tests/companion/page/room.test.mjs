// The room and its people: several viewers, the chat between them, and the page of the hosts that a supporter named.
import assert from 'node:assert/strict';
import { RoomServer } from '../../e2e/lib/room-server.mjs';
import { until } from '../../e2e/lib/wait.mjs';
import { connectedPair, errorsOf, hasState, isConnected, newRoom, openViewer, pageTests } from './setup.mjs';

const { context, pageTest } = pageTests();

const closePages = (...pages) => Promise.all(pages.map((page) => page.context().close()));
const text = (page, selector) => page.textContent(selector);

pageTest('a viewer gives way to a newer one, goes on chatting, and takes over again when asked', {}, async () => {
  const { host, viewer: older, room } = await connectedPair(context, { query: '&name=Ada' });
  assert.ok(await older.isHidden('#people'));
  const newer = await openViewer(context, room, '&name=Ben');
  await isConnected(newer);
  await hasState(older, 'connection', 'disconnected');
  assert.ok(await older.isVisible('text=Opened somewhere else'));
  assert.match(await text(older, '#status-text'), /^“Ben” has taken over/);
  assert.equal(await older.evaluate(() => vantora.pc()), null);

  // Both know who is there, and which of them has the screen.
  for (const [page, you] of [[older, 'Ada'], [newer, 'Ben']]) {
    await until(async () => (await text(page, '#people')) === '2 viewers', { what: 'the number of viewers' });
    await page.click('#people');
    assert.deepEqual(await page.locator('.menu-item:visible').allTextContents(), [
      `Ada${you === 'Ada' ? ' (you)' : ''}reads and writes in the chat`,
      `Ben${you === 'Ben' ? ' (you)' : ''}sees the screen and may control it`,
    ]);
    await page.keyboard.press('Escape');
  }
  await older.click('#chat-button');
  await older.fill('#chat-input', 'I am done');
  await older.press('#chat-input', 'Enter');
  await until(() => newer.isVisible('#chat-button .badge'), { what: 'the line at the newer viewer' });

  // An open menu shows who comes, and closes with the last of the others.
  const entries = newer.locator('.menu-item:visible');
  await newer.click('#people');
  await newer.keyboard.press('ArrowDown');
  await newer.evaluate(() => {
    vantora.app.people = { names: ['Ada', 'Ben', 'Cy'], you: 1 };
    vantora.app.emit('people', vantora.app.people);
  });
  assert.equal((await entries.allTextContents()).at(-1), 'Cysees the screen and may control it');
  assert.equal(await newer.evaluate(() => document.activeElement.textContent), 'Ben (you)reads and writes in the chat');

  await older.press('#take-over', 'Enter');
  await isConnected(older);
  assert.equal(await older.evaluate(() => document.activeElement.id), 'stage');
  await hasState(newer, 'connection', 'disconnected');
  assert.equal(await entries.count(), 0, 'for a moment the other was away');
  assert.equal(await newer.evaluate(() => document.activeElement.id), 'stage');
  assert.match(await text(newer, '#status-text'), /^“Ada” has taken over/);

  await closePages(older);
  await until(() => newer.isVisible('text=The other viewer has left'), { what: 'the vacant room' });
  await newer.click('#take-over');
  await isConnected(newer);
  assert.deepEqual(errorsOf(newer), []);
  await closePages(host, newer);
});

pageTest('a superseded viewer who loses the server does not take the room again', {}, async () => {
  const server = await RoomServer.start();
  const own = { server, browser: context.browser };
  const room = newRoom();
  const older = await openViewer(own, room);
  await hasState(older, 'connection', 'waiting');
  const newer = await openViewer(own, room);
  await until(() => older.isVisible('text=Opened somewhere else'), { what: 'the newer viewer' });
  // Restarted on the same port: every page that wants to come back does.
  const { port } = new URL(server.address);
  await server.end();
  const again = await RoomServer.start({ port: Number(port) });
  await hasState(newer, 'connection', 'waiting');
  assert.ok(await older.isVisible('text=the connection to the server has ended'));
  assert.ok(await newer.isHidden('#people'), 'the older one has not joined');
  await closePages(older, newer);
  await again.end();
});

pageTest('links in the chat open elsewhere, and nothing else is a link', {}, async () => {
  const { host, viewer } = await connectedPair(context);
  await host.evaluate(() => globalThis.host.signal({ type: 'chat_send', text: 'see www.example.org/a(b). or javascript:alert(1)' }));
  await viewer.click('#chat-button');
  const link = viewer.locator('.chat-text a');
  await until(async () => (await link.count()) === 1, { what: 'the link' });
  assert.deepEqual(await link.evaluate(({ href, target, rel, textContent }) => ({ href, target, rel, textContent })),
    { href: 'https://www.example.org/a(b)', target: '_blank', rel: 'noopener noreferrer', textContent: 'www.example.org/a(b)' });
  assert.equal(await viewer.getAttribute('.sound', 'aria-pressed'), 'false', 'sounds are off at first');
  await viewer.click('.sound');
  assert.equal(await viewer.getAttribute('.sound', 'aria-pressed'), 'true');
  await closePages(host, viewer);
});

pageTest('the panel keeps its width and F6 goes round the page', { firefox: true }, async () => {
  const { host, viewer } = await connectedPair(context);
  await viewer.click('#chat-button');
  await viewer.waitForSelector('#chat-input');
  const width = () => viewer.evaluate(() => document.getElementById('dock').getBoundingClientRect().width);
  const before = await width();
  await viewer.focus('#dock-resizer');
  await viewer.keyboard.press('ArrowLeft');
  assert.equal(await width(), before + 20);
  const box = await viewer.locator('#dock-resizer').boundingBox();
  await viewer.mouse.move(box.x + 4, box.y + 200);
  await viewer.mouse.down();
  await viewer.mouse.move(box.x - 56, box.y + 200);
  await viewer.mouse.up();
  const dragged = await width();
  assert.ok(Math.abs(dragged - before - 80) <= 4, `${dragged}`);
  const picture = await viewer.evaluate(() => document.getElementById('stage').getBoundingClientRect().right);
  const dock = await viewer.evaluate(() => document.getElementById('dock').getBoundingClientRect().left);
  assert.ok(picture <= dock, 'the panel does not cover the picture');
  await viewer.reload();
  await isConnected(viewer);
  await viewer.click('#chat-button');
  await viewer.waitForSelector('#chat-input');
  assert.equal(await width(), dragged);

  const regions = [];
  await viewer.focus('#stage');
  for (let press = 0; press < 4; press++) {
    await viewer.keyboard.press('F6');
    regions.push(await viewer.evaluate(() => ['stage', 'bar', 'rail', 'dock'].find((id) => document.getElementById(id).contains(document.activeElement))));
  }
  assert.deepEqual(regions, ['bar', 'rail', 'dock', 'stage']);
  await viewer.keyboard.press('Tab');
  assert.equal(await viewer.evaluate(() => document.activeElement.id), 'pin', 'the picture is one stop');
  await viewer.focus('#chat-input');
  await viewer.keyboard.press('Escape');
  assert.ok(await viewer.isHidden('#dock'));
  assert.equal(await viewer.evaluate(() => document.activeElement.id), 'chat-button');
  await closePages(host, viewer);
});

pageTest('asks for a room when it has none, and keeps the hosts that were named', {}, async () => {
  const page = await context.browser.page();
  // The list is made when the page's modules have been loaded.
  const names = async () => {
    await hasState(page, 'connection', 'none');
    return page.locator('.host-row-name').allTextContents();
  };
  await page.goto(context.server.address);
  await page.fill('#viewer-name', 'Ada');
  await page.fill('#room', 'a room & more');
  await page.press('#room', 'Enter');
  await hasState(page, 'connection', 'waiting');
  assert.equal(await text(page, '#room-name'), 'a room & more');
  assert.equal(await page.evaluate(() => vantora.app.name), 'Ada');

  // From the menu of the page.
  await page.click('#host-button');
  await page.click('.menu-item:visible >> text=Keep in my hosts');
  await page.fill('dialog input', 'Front desk');
  await page.press('dialog input', 'Enter');
  await until(async () => (await text(page, '#host-name')) === 'Front desk', { what: 'the name' });
  await page.goto(context.server.address);
  assert.deepEqual(await names(), ['Front desk']);

  // While a room is opened.
  await page.fill('#room', ' cellar ');
  await page.fill('#room-alias', '<b>Boiler</b>');
  await page.press('#room-alias', 'Enter');
  await hasState(page, 'connection', 'waiting');
  assert.equal(await text(page, '#host-name'), '<b>Boiler</b>');
  assert.equal(await text(page, '#room-name'), 'cellar');
  await page.goto(context.server.address);
  assert.deepEqual(await names(), ['<b>Boiler</b>', 'Front desk'], 'the last one opened comes first');

  await page.click('button[aria-label="Rename Front desk"]');
  await page.fill('.host-edit input', 'Reception');
  await page.press('.host-edit input', 'Enter');
  const focusedName = () => page.evaluate(() => document.activeElement.ariaLabel);
  assert.equal(await focusedName(), 'Rename Reception', 'the keyboard focus stays');
  await page.keyboard.press('Enter');
  await page.keyboard.press('Escape');
  assert.equal(await focusedName(), 'Rename Reception');
  await page.click('button[aria-label="Remove <b>Boiler</b>"]');
  assert.deepEqual(await names(), ['Reception']);
  await page.click('.host-link');
  await hasState(page, 'connection', 'waiting');
  assert.equal(await text(page, '#room-name'), 'a room & more');

  // The list holds what was named, and whatever else lies in the storage does no harm.
  await page.goto(`${context.server.address}/?room=unnamed`);
  await hasState(page, 'connection', 'waiting');
  await page.evaluate(() => {
    const hosts = JSON.parse(localStorage.getItem('vantora.hosts'));
    localStorage.setItem('vantora.hosts', JSON.stringify([...hosts, null, 5, { room: 7 }, { room: '', name: '', opened: 1 }]));
  });
  await page.goto(context.server.address);
  assert.deepEqual(await names(), ['Reception']);
  // A full list says so, in the room and before it.
  await page.evaluate(() => {
    const hosts = Array.from({ length: 500 }, (_, index) => ({ room: `r${index}`, name: `Host ${index}`, opened: 1 }));
    localStorage.setItem('vantora.hosts', JSON.stringify(hosts));
  });
  await page.fill('#room', 'one more');
  await page.fill('#room-alias', 'too much');
  await page.press('#room-alias', 'Enter');
  await page.waitForSelector('.start-card >> text=Your list has 500 hosts');
  await page.fill('#room-alias', '');
  await page.press('#room', 'Enter');
  await hasState(page, 'connection', 'waiting');
  await page.click('#host-button');
  await page.click('.menu-item:visible >> text=Keep in my hosts');
  await page.press('dialog input', 'Enter');
  await page.waitForSelector('dialog >> text=Your list has 500 hosts');
  await page.keyboard.press('Escape');
  await page.waitForSelector('dialog', { state: 'detached' });
  await page.goto(context.server.address);
  await page.evaluate(() => localStorage.setItem('vantora.hosts', '{broken'));
  await page.reload();
  assert.deepEqual(await names(), []);
  assert.deepEqual(errorsOf(page), []);
  await closePages(page);
});

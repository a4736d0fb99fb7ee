// How the viewer's page gets its video, and how it recovers it.
import assert from 'node:assert/strict';
import { RoomServer } from '../../e2e/lib/room-server.mjs';
import { framesShown } from '../../e2e/lib/viewer.mjs';
import { soonest, timed, until } from '../../e2e/lib/wait.mjs';
import {
  connectedPair, errorsOf, dataset, hasState, inControl, isConnected, newRoom, openFakeHost,
  openViewer, pageTests, pairTests, receivedMessages, takeControl,
} from './setup.mjs';

const { context, pageTest } = pageTests();
const { pairTest } = pairTests();

const signals = (host, type) => host.evaluate((type) => globalThis.host.signals.filter((s) => s.type === type), type);
const peers = (host) => host.evaluate(() => globalThis.host.peers);
const closePages = (...pages) => Promise.all(pages.map((page) => page.context().close()));

// Waits until the video changes: the fake host draws the time into it.
async function videoMoves(viewer) {
  const start = await framesShown(viewer);
  await until(async () => (await framesShown(viewer)) > start + 2, { what: 'further frames' });
}

pageTest('shows the host that was there before it', { firefox: true }, async () => {
  const room = newRoom();
  const host = await openFakeHost(context, room);
  const { ms, value: viewer } = await timed(async () => {
    const page = await openViewer(context, room);
    await isConnected(page);
    return page;
  });
  await videoMoves(viewer);
  assert.ok((await signals(host, 'renegotiate')).length >= 1, 'the viewer asks for the offer');
  assert.equal(await dataset(viewer, 'control'), 'locked');
  console.log(`page opened to video and channels: ${ms} ms`);
  await closePages(host, viewer);
});

pageTest('waits for a host that comes later, and takes its offer', {}, async () => {
  const room = newRoom();
  const viewer = await openViewer(context, room);
  await hasState(viewer, 'connection', 'waiting');
  const host = await openFakeHost(context, room);
  await host.evaluate(() => globalThis.host.offer());
  await isConnected(viewer);
  await videoMoves(viewer);
  await closePages(host, viewer);
});

pairTest('answers an offer with a second, receiving video section', { options: { twoVideoSections: true } }, async (pair) => {
  const [answer] = (await signals(pair.host, 'answer')).slice(-1);
  const sections = answer.sdp.split('\nm=').slice(1);
  assert.equal(sections.filter((section) => section.startsWith('video')).length, 2);
  await videoMoves(pair.viewer);
});

pairTest('sends its candidates after its answer, and no empty one', {}, async (pair) => {
  // The two may have found each other before the first of them arrived.
  await until(async () => (await signals(pair.host, 'ice')).length > 0, { what: 'a candidate' });
  const kinds = await pair.host.evaluate(() => globalThis.host.signals.map((s) => s.type));
  assert.ok(kinds.includes('answer'));
  assert.ok(kinds.indexOf('ice') > kinds.indexOf('answer'));
  for (const { candidate } of await signals(pair.host, 'ice')) {
    assert.match(candidate.candidate, /^candidate:/);
    assert.equal(typeof candidate.sdpMLineIndex, 'number');
    assert.equal(typeof candidate.sdpMid, 'string');
  }
});

pairTest('keeps its connection when the host offers again', {}, async (pair) => {
  await pair.viewer.evaluate(() => { globalThis.first = vantora.pc(); });
  const answers = (await signals(pair.host, 'answer')).length;
  await pair.host.evaluate(() => globalThis.host.offer());
  await until(async () => (await signals(pair.host, 'answer')).length > answers, { what: 'the answer' });
  assert.ok(await pair.viewer.evaluate(() => globalThis.first === vantora.pc()));
  assert.equal(await dataset(pair.viewer, 'connection'), 'connected');
});

pairTest('follows an ICE restart on the same connection', { firefox: true }, async (pair) => {
  await pair.viewer.evaluate(() => { globalThis.first = vantora.pc(); });
  const ufrag = () => pair.viewer.evaluate(() => /ice-ufrag:(\S+)/.exec(vantora.pc().currentRemoteDescription.sdp)[1]);
  const old = await ufrag();
  await pair.host.evaluate(() => globalThis.host.offer({ iceRestart: true }));
  await until(async () => (await ufrag()) !== old, { what: 'the new ICE credentials' });
  assert.ok(await pair.viewer.evaluate(() => globalThis.first === vantora.pc()));
  await isConnected(pair.viewer);
  await videoMoves(pair.viewer);
});

pairTest('builds a new connection when the host built one', { firefox: true }, async (pair) => {
  await inControl(pair);
  await pair.viewer.click('#chat-button');
  await pair.viewer.click('#chat-input');
  await pair.viewer.evaluate(() => { globalThis.first = vantora.pc(); });
  await pair.host.evaluate(() => { globalThis.host.buildPeer(); return globalThis.host.offer(); });
  await until(() => pair.viewer.evaluate(() => globalThis.first !== vantora.pc()), { what: 'another connection' });
  assert.equal(await pair.viewer.evaluate(() => globalThis.first.signalingState), 'closed');
  await isConnected(pair.viewer);
  await videoMoves(pair.viewer);
  // The proof of the PIN is repeated by the page, so control returns by itself.
  await hasState(pair.viewer, 'control', 'on');
  assert.equal(await pair.viewer.evaluate(() => document.activeElement.id), 'chat-input', 'what is written goes on there');
});

pageTest('takes candidates that overtake their offer', {}, async () => {
  const room = newRoom();
  const host = await openFakeHost(context, room);
  // All candidates of the host first, the offer last.
  await host.evaluate(() => {
    const send = globalThis.host.signal.bind(globalThis.host);
    globalThis.host.signal = (message) => {
      if (message.type !== 'offer') return send(message);
      const { pc } = globalThis.host;
      const finish = () => pc.iceGatheringState === 'complete' && send(message);
      pc.addEventListener('icegatheringstatechange', finish);
      return finish();
    };
  });
  const viewer = await openViewer(context, room);
  await isConnected(viewer);
  await closePages(host, viewer);
});

pageTest('a reloaded page has its video back, five times in a row', {}, async () => {
  const pair = await connectedPair(context);
  const times = [];
  for (let i = 0; i < 5; ++i) {
    const { ms } = await timed(async () => {
      await pair.viewer.reload();
      await isConnected(pair.viewer);
    });
    times.push(ms);
    await takeControl(pair.viewer);
    await hasState(pair.viewer, 'control', 'on');
  }
  console.log(`reload to video and channels: ${times.join(', ')} ms`);
  await closePages(pair.host, pair.viewer);
});

pairTest('says so when the host leaves and shows it again when it is back', {}, async (pair) => {
  await inControl(pair);
  const least = await soonest(3000, async () => {
    await pair.host.evaluate(() => globalThis.host.leave());
    const { ms } = await timed(() => hasState(pair.viewer, 'connection', 'waiting'));
    console.log(`host gone to "waiting": ${ms} ms`);
    assert.equal(await dataset(pair.viewer, 'control'), 'locked');
    assert.ok(await pair.viewer.isVisible('text=Waiting for the host'));
    assert.ok(await pair.viewer.isDisabled('#control-button'));
    await pair.host.evaluate(() => globalThis.host.join());
    await isConnected(pair.viewer);
    await videoMoves(pair.viewer);
    return ms;
  });
  assert.ok(least < 3000, `${least} ms`);
});

pageTest('keeps the video through a restart of the room server', {}, async () => {
  const server = await RoomServer.start();
  const pair = await connectedPair({ ...context, server });
  const { port } = server;
  await server.end();
  await videoMoves(pair.viewer);
  assert.equal(await dataset(pair.viewer, 'connection'), 'connected');
  const again = await RoomServer.start({ port });
  await pair.host.evaluate(() => globalThis.host.join());
  await until(() => pair.viewer.evaluate(() => vantora.signal({ type: 'client_prefs', prefs: {} })), { what: 'the server' });
  await videoMoves(pair.viewer);
  assert.equal(await peers(pair.host), 1, 'no connection was rebuilt');
  await closePages(pair.host, pair.viewer);
  await again.end();
});

pairTest('joins the room again when the network is back, with the connection that it has', {}, async (pair) => {
  await pair.viewer.evaluate(() => { globalThis.first = vantora.pc(); });
  const asked = (await signals(pair.host, 'renegotiate')).length;
  const joins = [];
  pair.viewer.on('websocket', (socket) => joins.push(socket.url()));
  const network = pair.viewer.context();
  await network.setOffline(true);
  await network.setOffline(false);
  await until(() => joins.length === 1, { what: 'another connection to the room' });
  await until(async () => (await signals(pair.host, 'renegotiate')).length > asked, { what: 'the request for an offer that may be lost' });
  // The room passes its messages on again.
  const seen = (await signals(pair.host, 'client_prefs')).length;
  await until(() => pair.viewer.evaluate(() => vantora.signal({ type: 'client_prefs', prefs: {} })), { what: 'the connection' });
  await until(async () => (await signals(pair.host, 'client_prefs')).length > seen, { what: 'the message' });
  await videoMoves(pair.viewer);
  assert.ok(await pair.viewer.evaluate(() => globalThis.first === vantora.pc()));
  assert.equal(await dataset(pair.viewer, 'connection'), 'connected');
});

pageTest('finds the room server that starts after it was lost', {}, async () => {
  const server = await RoomServer.start();
  const viewer = await openViewer({ ...context, server }, newRoom());
  await hasState(viewer, 'connection', 'waiting');
  await server.end();
  await until(() => viewer.isVisible('text=Server not reachable'), { what: 'the message' });
  const again = await RoomServer.start({ port: server.port });
  await hasState(viewer, 'connection', 'waiting');
  await closePages(viewer);
  await again.end();
});

pairTest('asks for the screen\'s own size, and for what was chosen after a reconnect', {}, async (pair) => {
  const presets = async () => (await receivedMessages(pair.host, 'quality')).map(({ preset }) => preset);
  await until(async () => (await presets()).length === 1, { what: 'the request' });
  await pair.viewer.click('#quality');
  await pair.viewer.click('text=720p · 3 Mbit/s');
  await until(async () => (await presets()).length === 2, { what: 'the choice' });
  await pair.host.evaluate(() => { globalThis.host.buildPeer(); return globalThis.host.offer(); });
  await until(async () => (await presets()).length === 3, { what: 'the choice again' });
  assert.deepEqual(await presets(), ['native', 'medium', 'medium']);
  assert.equal(await pair.viewer.textContent('#quality-label'), '720p · 3 Mbit/s');
});

pairTest('says so when the host cannot record its screen', {}, async (pair) => {
  const card = () => pair.viewer.isVisible('text=cannot record its screen');
  // As the host does: several times a second.
  const repeat = (more) => pair.host.evaluate((more) => {
    clearInterval(globalThis.repeating);
    globalThis.repeating = setInterval(() => globalThis.host.stats(more), 250);
  }, more);
  assert.ok(!(await card()));
  // Timed from before the first of them, which the page may have long before this test knows that it was sent.
  const { ms } = await timed(async () => {
    await repeat({ lastCaptureNs: 0 });
    await until(card, { what: 'the card' });
  });
  assert.ok(ms > 2000, `a frame that is only late is not missed at once: ${ms} ms`);
  assert.equal(await dataset(pair.viewer, 'connection'), 'connected');
  await repeat({ lastCaptureNs: 1234567 });
  await until(async () => !(await card()), { what: 'the card to go' });
});

pairTest('survives nonsense from the host', {}, async (pair) => {
  await pair.host.evaluate(() => {
    const { host } = globalThis;
    host.signal({ type: 'offer' });
    host.signal({ type: 'offer', sdp: 7 });
    host.signal({ type: 'ice' });
    host.signal({ type: 'ice', candidate: { candidate: 'nonsense' } });
    host.signal({ type: 'ice', candidate: { candidate: '', sdpMid: null } });
    host.reliable.send('not json');
    host.reliable.send('[]');
    host.reliable.send(new Uint8Array([1, 2, 3]));
    for (const message of [{ type: 'display_info', count: 'x' }, { type: 'display_info', count: 1e9, current: -1 },
      { type: 'cursor_shape', shape: { a: 1 } }, { type: 'permission_required' }, { type: 'pong' }, { type: 'toString' },
      { type: 'host_stats', hostName: 5 }]) host.send(message);
  });
  await inControl(pair);
  await videoMoves(pair.viewer);
  assert.ok((await pair.viewer.evaluate(() => document.getElementById('display').options.length)) <= 32);
  assert.deepEqual(errorsOf(pair.viewer), []);
});

pairTest('starts afresh from an offer that cannot be applied', {}, async (pair) => {
  await pair.host.evaluate(() => globalThis.host.signal({ type: 'offer', sdp: 'v=0\r\nnot a description' }));
  await until(() => pair.viewer.said.some((line) => line.includes('starting afresh')), { what: 'the attempt' });
  await pair.host.evaluate(() => globalThis.host.offer());
  await isConnected(pair.viewer);
  await videoMoves(pair.viewer);
});

pageTest('asks again when the host does not answer its request', {}, async () => {
  const room = newRoom();
  const host = await openFakeHost(context, room);
  await host.evaluate(() => {
    const { host } = globalThis;
    const answer = host.signalled.bind(host);
    let ignored = 0;
    host.signalled = (message) => {
      if (message.type === 'renegotiate' && ignored++ === 0) return host.signals.push(message);
      return answer(message);
    };
  });
  const viewer = await openViewer(context, room);
  await isConnected(viewer);
  assert.equal((await signals(host, 'renegotiate')).length >= 2, true);
  await closePages(host, viewer);
});

pairTest('asks for the newest frame, not smooth playback', { firefox: true }, async (pair) => {
  const receiver = await pair.viewer.evaluate(() => {
    const found = vantora.pc().getReceivers().find(({ track }) => track.id === document.getElementById('screen').srcObject.getTracks()[0].id);
    return { target: found.jitterBufferTarget, hint: found.playoutDelayHint };
  });
  assert.equal(receiver.target, 0);
  const video = await pair.viewer.evaluate(() => {
    const screen = document.getElementById('screen');
    return { muted: screen.muted, autoplay: screen.autoplay, playsInline: screen.hasAttribute('playsinline') };
  });
  assert.deepEqual(video, { muted: true, autoplay: true, playsInline: true });
  assert.deepEqual(await receivedMessages(pair.host, 'mouseMove'), []);
});

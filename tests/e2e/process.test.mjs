import assert from 'node:assert/strict';
import { readFile, readdir } from 'node:fs/promises';
import { test } from 'node:test';
import { desktopProcess } from './lib/desktop.mjs';
import { Host } from './lib/host.mjs';
import { unknownLines } from './lib/log-lines.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl, shows } from './lib/viewer.mjs';
import { soonest, timed, until } from './lib/wait.mjs';

/// Runs `body` with a session; it resolves to the milliseconds that its host took to end, which must be less than four
/// seconds, if not at the first try then in another session: a busy machine may delay one.
async function endsSoon(t, want, body) {
  const ms = await soonest(4000, () => withSession(t, want, body), 3);
  t.diagnostic(`ended after ${ms} ms`);
  assert.ok(ms < 4000, `${ms} ms`);
}

/// Ends a session's host, whose status must be zero; resolves to the milliseconds that it took.
async function ended(session, signal) {
  const { ms, value } = await timed(() => session.host.end(signal, 20000));
  assert.deepEqual(value, { code: 0, signal: null });
  return ms;
}

for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) {
  test(`${signal}EndsTheHostWithStatusZero`, async (t) => {
    await endsSoon(t, {}, async (session) => {
      const page = await session.bare();
      await new BareControl(page).open();
      await session.host.line('[share] started screen capture');
      const before = session.host.log.length;
      const ms = await ended(session, signal);
      // It ends without log lines beyond those that closing the connection causes anyway.
      const after = session.host.log.slice(before).filter((line) => !/^(ICE state: |\[dc\] |\[cursor\] |\[control\] reset)/.test(line));
      assert.deepEqual(after, []);
      return ms;
    });
  });
}

test('letsGoOfKeysAndButtonsWhenItsTerminalIsClosed', async (t) => {
  await endsSoon(t, {}, async (session) => {
    const window = session.keep(session.screen.start('xev', ['-geometry', '600x400+0+0', '-event', 'keyboard', '-event', 'button']));
    const id = (await session.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--name', 'Event Tester'])).trim().split('\n')[0];
    await session.screen.run('xdotool', ['windowfocus', '--sync', id]);
    const repeating = async () => (await session.screen.run('xset', ['q'])).match(/auto repeating keys:[\s0-9a-f]*/)[0];
    const before = await repeating();
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    await viewer.takeControl(await session.host.pin());
    await viewer.send({ type: 'mouseDown', x: 0.1, y: 0.1, button: 0 });
    await viewer.send({ type: 'keyDown', code: 'KeyA', mods: { shift: true } });
    await window.line(/keysym 0x41, A\)/);
    await window.line(/^ButtonPress event/);
    assert.notEqual(await repeating(), before, 'the key repeats, so this test would not see its release');
    assert.ok(!window.text().some((line) => /^(Key|Button)Release event/.test(line)));
    const ms = await ended(session, 'SIGHUP');
    await window.line(/^ButtonRelease event/);
    await until(() => window.text().filter((line) => /^KeyRelease event/.test(line)).length === 2, { what: 'key and modifier to come up' });
    assert.equal(await repeating(), before);
    return ms;
  });
});

test('goesOnUnderNohupWhenItsTerminalIsClosed', async (t) => {
  await endsSoon(t, { browserNow: false, host: { wrapper: ['nohup'] } }, async (session) => {
    await session.host.line('[share] started screen capture');
    session.host.child.signal('SIGHUP');
    const page = await session.bare(await session.useBrowser());
    await new BareControl(page).open();
    return ended(session, 'SIGTERM');
  });
});

test('endsWhileTheDisplaysServerSaysNothing', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    await viewer.takeControl(await session.host.pin());
    await viewer.send({ type: 'keyDown', code: 'KeyA', mods: {} });
    await viewer.settled();
    session.screen.child.signal('SIGSTOP');
    try {
      for (let step = 0; step < 500; step++) await viewer.send({ type: 'mouseMove', x: step / 500, y: 0.5 });
      await viewer.send({ type: 'keyDown', code: 'KeyB', mods: {} });
      await viewer.settled();
      assert.deepEqual(await session.host.end('SIGTERM'), { code: 0, signal: null });
    } finally {
      session.screen.child.signal('SIGCONT');
    }
  });
});

test('neitherProcessLoadsWhatOnlyTheOtherOneNeeds', async (t) => {
  await withSession(t, { browserNow: false }, async (session) => {
    await session.host.line('[share] started screen capture');
    const loaded = async (pid) => new Set((await readFile(`/proc/${pid}/maps`, 'utf8')).match(/lib[^/]+?(?=\.so)/g));
    const host = await loaded(session.host.child.pid);
    const desktop = await until(async () => {
      const libraries = await loaded(await desktopProcess(session.host));
      return libraries.has('libQt6XcbQpa') && libraries;
    }, { what: 'the desktop process' });
    for (const name of ['libQt6Gui', 'libQt6Widgets', 'libavcodec']) assert.ok(!host.has(name), name);
    for (const name of ['libsrtp2', 'libvpx', 'libaom', 'libavcodec']) assert.ok(!desktop.has(name), name);
  });
});

/// Numbers of the signals in a mask of /proc; those beyond 31 belong to the C library and to the parent of the tests.
const signalsIn = (mask) => [...Array(31).keys()].map((bit) => bit + 1).filter((number) => BigInt(`0x${mask}`) >> BigInt(number - 1) & 1n);

test('programsThatTheDesktopProcessOpensInheritTheUsualSignals', async (t) => {
  await withSession(t, { browserNow: false }, async (session) => {
    await session.host.line('[share] started screen capture');
    const host = session.host.child.pid;
    const masks = async () => {
      const [desktop] = (await readFile(`/proc/${host}/task/${host}/children`, 'utf8')).trim().split(' ').filter(Boolean);
      if (!desktop || !(await readFile(`/proc/${desktop}/cmdline`, 'utf8')).includes('vantora-host')) return null;
      const status = await readFile(`/proc/${desktop}/status`, 'utf8');
      return Object.fromEntries(['SigBlk', 'SigIgn', 'SigCgt'].map((name) => [name, signalsIn(status.match(`${name}:\\s+([0-9a-f]+)`)[1])]));
    };
    // SIGHUP and SIGINT have handlers, which do not survive exec; nothing is ignored, and nothing blocked but for the
    // moment in which a thread starts. The bus library may set SIGPIPE (13) to be ignored; the tool kit resets it for
    // the processes that it starts.
    let seen;
    await until(async () => {
      seen = await masks().catch(() => null);
      return seen && [1, 2].every((number) => seen.SigCgt.includes(number)) &&
        [...seen.SigIgn, ...seen.SigBlk].every((number) => number === 13);
    }, { what: 'the usual signals' }).catch((error) => assert.fail(`${error.message}: ${JSON.stringify(seen)}`));
  });
});

test('refusesAnInvalidAddress', async () => {
  const host = await Host.start({ env: { SIGNAL_HOST: 'a b' } });
  try {
    assert.deepEqual(await host.child.done, { code: 1, signal: null });
    assert.deepEqual(host.log, ['fatal: not a signaling url: ws://a b:8080']);
  } finally {
    await host.end('SIGKILL');
  }
});

test('endsOnASignalWhileTheServerIsOutOfReachAndNobodyIsConnected', async (t) => {
  await endsSoon(t, { browserNow: false, host: { env: { SIGNAL_URL: 'ws://127.0.0.1:9' } } }, async (session) => {
    await session.host.line('[ws] reconnect in 1.0s');
    return ended(session, 'SIGTERM');
  });
});

test('triesAgainWithGrowingDelaysWhileThereIsNoServer', async (t) => {
  await withSession(t, { browserNow: false, host: { env: { SIGNAL_URL: 'ws://127.0.0.1:9' } } }, async (session) => {
    await session.host.line('[ws] reconnect in 4.0s');
    const lines = session.host.log;
    assert.ok(lines.includes('[ws] signaling url: ws://127.0.0.1:9'));
    const delays = lines.filter((line) => line.startsWith('[ws] reconnect')).map((line) => line.match(/in (.*)s/)[1]);
    assert.deepEqual(delays.slice(0, 4), ['0.5', '1.0', '2.0', '4.0']);
    assert.ok(lines.filter((line) => line.startsWith('[ws] recv error: ')).length >= 4);
    const times = session.host.child.lines.filter(({ text }) => text.startsWith('[ws] reconnect')).map(({ at }) => at);
    // They are read when this process is scheduled, so that one may seem early after a late one; the minimum of the
    // excess over the delays is what the host adds.
    const beyond = [500, 1000, 2000].map((wanted, index) => {
      const gap = times[index + 1] - times[index];
      assert.ok(gap > wanted * 0.6, `delay ${index} was ${gap} ms`);
      return gap - wanted;
    });
    assert.ok(Math.min(...beyond) < 700, `${beyond.join(', ')} ms beyond the delays`);
  });
});

test('startsWithoutAnyDisplayAndSaysSo', async (t) => {
  await endsSoon(t, { screen: null, browserNow: false }, async (session) => {
    await session.host.line('[share] started screen capture');
    assert.ok(session.host.log.some((line) => line.startsWith('[sc] ')), session.host.log.join('\n'));
    return ended(session, 'SIGTERM');
  });
});

/// Waits until a host takes less than `maximum` percent of a core over `ms` milliseconds, and returns what it takes.
/// Permanent work is in every measurement, that of a start or of a viewer's end is not.
async function quiet(host, maximum, ms) {
  const seen = [];
  await until(async () => seen.push(await host.cpuPercent(ms)) && seen.at(-1) < maximum, { deadline: 15000, every: 0, what: `less than ${maximum} %` })
    .catch((error) => assert.fail(`${error.message}: ${seen.map((share) => share.toFixed(2)).join(', ')}`));
  return seen.at(-1);
}

/// Waits for a thread of this name in the host; resolves to its folder in /proc.
function threadOf(host, name) {
  const tasks = `/proc/${host.child.pid}/task`;
  return until(async () => {
    for (const task of await readdir(tasks)) {
      if ((await readFile(`${tasks}/${task}/comm`, 'utf8').catch(() => '')).trim() === name) return `${tasks}/${task}`;
    }
    return null;
  }, { what: `the thread ${name}` });
}

/// Nanoseconds that a thread has run so far.
async function nanosecondsOf(thread) {
  return Number((await readFile(`${thread}/schedstat`, 'utf8')).split(' ')[0]);
}

test('paintsNoTestPictureWhileNobodyIsConnected', async (t) => {
  const env = { SHARE_IDLE_VIDEO: '1', FPS: '120' };
  await withSession(t, { screen: '3840x2160', autoShare: false, browserNow: false, host: { env } }, async (session) => {
    await threadOf(session.host, 'video-gen');
    t.diagnostic(`${(await quiet(session.host, 5, 2000)).toFixed(2)} % of a core`);
  });
});

test('paintsNoTestPictureWhileTheScreenIsShared', async (t) => {
  const env = { SHARE_IDLE_VIDEO: '1', FPS: '120' };
  await withSession(t, { screen: '3840x2160', host: { env } }, async (session) => {
    const page = await session.bare();
    await until(() => page.evaluate(() => bare.frames > 0), { what: 'video' });
    const thread = await threadOf(session.host, 'video-gen');
    const before = await nanosecondsOf(thread);
    const start = performance.now();
    await until(() => performance.now() - start > 2000, { what: 'the time to pass' });
    const share = (await nanosecondsOf(thread) - before) / 1e6 / (performance.now() - start);
    t.diagnostic(`its thread takes ${(share * 100).toFixed(2)} % of a core`);
    // 120 frames of this size take several times that.
    assert.ok(share < 0.015, `${share}`);
  });
});

test('costsNextToNothingWhileNobodyIsConnected', async (t) => {
  await withSession(t, { screen: '1920x1080' }, async (session) => {
    // Something that changes all the time, so that capturing would be measurable.
    const busy = session.keep(session.screen.start('xterm', ['-geometry', '180x60+0+0', '-e', 'sh', '-c', 'while :; do date +%N; done']));
    await session.host.line('[share] started screen capture');
    await until(async () => (await session.host.cpuPercent(500)) < 2, { every: 0, what: 'the host to come to rest' });
    const idle = await quiet(session.host, 2, 3000);
    t.diagnostic(`before any viewer: ${idle.toFixed(2)} % of a core`);

    const doomed = await session.startBrowser();
    const page = await session.bare(doomed);
    await until(() => page.evaluate(() => bare.frames > 10), { what: 'frames' });
    const viewed = await session.host.cpuPercent(2000);
    t.diagnostic(`with a viewer of a scrolling terminal: ${viewed.toFixed(1)} %`);
    assert.ok(viewed > 2 * idle + 2, 'the screen is not changing, so this test would prove nothing');
    await doomed.kill();
    await until(async () => (await session.host.cpuPercent(500)) < 2, { every: 0, what: 'the host to notice' });
    const after = await quiet(session.host, 2, 3000);
    t.diagnostic(`after the viewer was killed: ${after.toFixed(2)} %`);
    assert.equal(busy.exit, null);
  });
});

test('standardErrorHoldsOnlyKnownLinesInAWholeSession', async (t) => {
  await withSession(t, { host: { env: { PREFERRED_CODEC: 'vp8', INPUT_MAP: 'pixels', INPUT_ORIGIN: 'top' } } }, async (session) => {
    await session.screen.paint('#205080');
    const page = await session.bare();
    await shows(page, '#205080');
    const viewer = await new BareControl(page).open();
    await viewer.ask({ type: 'auth', token: 'nonsense' }, 'auth');
    await viewer.takeControl(await session.host.pin());
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5 }, 'ptr');
    await viewer.ask({ type: 'display_index', index: 5 }, 'ack');
    await viewer.ask({ type: 'clipboard_set', text: 'line\nbreak "quoted" ü' }, 'ack');
    await viewer.ask({ type: 'clipboard_sync_enabled', enabled: false }, 'ack');
    await viewer.ask({ type: 'test_cursor', shape: 'text' }, 'cursor_shape');
    await viewer.ask({ type: 'file_start', id: '1', name: 'a\nb.txt', size: 2 }, 'file_ready');
    await viewer.send({ type: 'file_chunk', id: '1', data: 'YWI=' });
    await viewer.ask({ type: 'file_end', id: '1' }, 'file_saved');
    // A program with windows that talks a lot, a command that fails, and one that does not exist.
    await viewer.ask({ type: 'exec_command', id: 'open-terminal' }, 'command_result');
    await viewer.ask({ type: 'exec_command', id: 'toggle-dark-mode' }, 'command_result');
    await viewer.ask({ type: 'exec_command', id: 'rm -rf ~' }, 'command_result');
    await viewer.ask({ type: 'diagnostics_run' }, 'diagnostics_result', { deadline: 60000 });
    for (const garbage of ['{', '[]', '{"type":7}', '{"type":"nothing"}', '{"type":"mouseMove","x":"a"}']) {
      await viewer.page.evaluate((text) => bare.sendRaw(text), garbage);
    }
    await viewer.page.evaluate(() => {
      bare.signal({ type: 'chat_send', text: 'hello' });
      bare.signal({ type: 'client_prefs', prefs: { fps: 20 } });
      bare.signal({ type: 'renegotiate' });
    });
    await session.host.line(/^\[prefs\] applied from client/);
    await viewer.settled();
    await page.reload();
    await new BareControl(page).open();
    await session.server.end();
    await session.host.line(/^\[ws\] reconnect in /);
    await session.host.end('SIGTERM');
    assert.deepEqual(unknownLines(session.host.log), []);
    assert.deepEqual(session.host.child.text('out'), [], 'standard output stays empty');
    for (const needed of ['[control] auth=false', '[control] auth=true', '[control] enabled=true',
      '[control] reset state on channel close', '[sdp] env preferred codec=vp8', '[input] mapping mode=pixels', '[input] origin=top',
      '[notify] skipping UNUserNotifications (no bundle identifier)']) {
      assert.ok(session.host.log.includes(needed), `missing: ${needed}`);
    }
  });
});

/// Open files, threads and MiB of memory of a process.
async function usageOf(pid) {
  const status = await readFile(`/proc/${pid}/status`, 'utf8');
  return {
    files: (await readdir(`/proc/${pid}/fd`)).length,
    threads: Number(status.match(/Threads:\s+(\d+)/)[1]),
    megabytes: Number(status.match(/VmRSS:\s+(\d+)/)[1]) / 1024,
  };
}

/// Sends candidates in one go, as soon as there is a connection to the room: it closes the connections of those who
/// send too much, and the page opens another a moment later.
function sendCandidates(page, candidates) {
  return until(() => page.evaluate((candidates) => {
    if (!bare.socketIsOpen()) return false;
    for (const candidate of candidates) bare.signal({ type: 'ice', candidate: { candidate, sdpMLineIndex: 0, sdpMid: '0' } });
    return true;
  }, candidates), { what: 'the connection to the room' });
}

test('aFloodOfCandidatesWithNamesStartsFewThreads', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    // Includes the threads of the video.
    await until(() => page.evaluate(() => bare.frames > 3), { what: 'frames' });
    const before = await usageOf(session.host.child.pid);
    let maximum = before.threads;
    for (let round = 0; round < 10; round++) {
      await sendCandidates(page, Array.from({ length: 40 }, (_, number) =>
        `candidate:1 1 udp 2113937151 no-such-host-${round}-${number}.local 5000 typ host`));
      await viewer.settled();
      maximum = Math.max(maximum, (await usageOf(session.host.child.pid)).threads);
    }
    t.diagnostic(`${before.threads} threads before, ${maximum} at most`);
    // Eight lookups at once are what the host allows itself; threads of the video come and go beside them.
    assert.ok(maximum <= before.threads + 12, `${before.threads} to ${maximum} threads`);
  });
});

test('aFloodOfCandidatesThatNobodyCanResolveDoesNotHurtTheSession', async (t) => {
  await withSession(t, {}, async (session) => {
    await session.screen.paint('#307030');
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    await viewer.takeControl(await session.host.pin());
    await shows(page, '#307030');
    const before = await usageOf(session.host.child.pid);
    const flood = (round) => sendCandidates(page, Array.from({ length: 200 }, (_, number) => {
      // Of every kind: hidden names, ordinary names, and invalid ones.
      const name = [`no-such-host-${round}-${number}.local`, `no-such-host-${round}-${number}.example.net`,
        `${'x'.repeat(63)}.${'y'.repeat(63)}.invalid`, '-..-', `xn--${number}`][number % 5];
      return `candidate:1 1 udp 2113937151 ${name} ${5000 + number} typ host`;
    }));
    const times = [];
    for (let round = 0; round < 10; round++) {
      await flood(round);
      const start = performance.now();
      await viewer.ask({ type: 'mouseMove', x: round / 10, y: 0.5 }, 'ptr');
      times.push(Math.round(performance.now() - start));
      assert.deepEqual(await session.screen.pointer(), { x: round * 128, y: 360 });
    }
    await session.screen.paint('#a03020');
    await shows(page, '#a03020');
    // A viewer that comes while all those names are still being looked up connects as usual.
    await flood(10);
    await page.reload();
    await new BareControl(page).open();
    await session.screen.paint('#2030a0');
    await shows(page, '#2030a0');
    const after = await usageOf(session.host.child.pid);
    times.sort((a, b) => a - b);
    t.diagnostic(`pointer moved after ${times.join(', ')} ms; ${JSON.stringify(before)} to ${JSON.stringify(after)}`);
    // One of them may have been delayed while the machine was busy with something else.
    assert.ok(times.at(-2) < 2000, `${times.join(', ')} ms`);
    assert.ok(after.megabytes < before.megabytes + 50, `${JSON.stringify(before)} to ${JSON.stringify(after)}`);
  });
});

test('keepsNoMoreFilesThreadsAndMemoryAfterManyReloads', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    const usage = () => usageOf(session.host.child.pid);
    const reload = async () => {
      await page.reload();
      await new BareControl(page).open();
      await until(() => page.evaluate(() => bare.frames > 0), { what: 'a frame' });
    };
    for (let round = 0; round < 4; round++) await reload();
    const before = await usage();
    for (let round = 0; round < 12; round++) await reload();
    let after;
    // What belonged to the last connection goes a moment later; a lookup of a name without a response takes long.
    await until(async () => {
      after = await usage();
      return after.files <= before.files + 4 && after.threads <= before.threads + 2 && after.megabytes < before.megabytes + 25;
    }, { deadline: 45000, every: 500, what: 'what belonged to earlier viewers to go' }).catch((error) =>
      assert.fail(`${error.message}: ${JSON.stringify(before)} to ${JSON.stringify(after)}`));
    t.diagnostic(`${JSON.stringify(before)} to ${JSON.stringify(after)}`);
  });
});

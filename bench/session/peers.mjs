// What a user would pick instead, on the page of scroll.mjs: VNC servers that send the screen of an X server, and a plain
// pipeline of GStreamer as the least that video takes. node peers.mjs OUT; runs inside scripts/lab. PEERS and LINKS
// ("x11vnc x0vncserver gstreamer", "none 2mbit") choose some of the combinations.
//
// GStreamer is measured without a limit only: it would have to be told what the link carries.
import { openTextPage } from '../../tests/e2e/lib/text-page.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, keepRun, writeFigures } from './lib/figures.mjs';
import { peers } from './lib/peers.mjs';
import { family } from '../../tests/e2e/lib/processes.mjs';
import { atRest, now, pass, scroll, still } from './lib/scenario.mjs';
import { session } from './lib/session.mjs';

const links = { none: { name: 'no limit' }, '2mbit': { name: '2 Mbit/s', rate: '2mbit', kbps: 2000 } };
const listed = (name, all) => (process.env[name] ?? all).split(' ');
const seconds = Number(process.env.SECONDS_OF_SCROLL ?? 10);
const PAGE = 7;
const LIMIT_MS = 12000;

/// How long until the updates since a new page have covered the screen, in ms; null when they had not within LIMIT_MS.
async function exactPage({ text, viewer, screen, far }) {
  // What is still under way belongs to the scrolling.
  let sent = -1;
  await until(async () => {
    const before = sent;
    sent = await far.sentBytes();
    return sent - before < 1000;
  }, { deadline: LIMIT_MS, every: 500, what: 'the end of the updates' });
  const changed = await text.tell(`page ${PAGE}`);
  const covered = () => {
    let pixels = 0;
    return viewer.all.find((frame) => frame.at >= changed && (pixels += frame.pixels) >= screen.width * screen.height * 0.95);
  };
  await until(() => covered() || now() > changed + LIMIT_MS, { deadline: LIMIT_MS + 5000, what: 'the new page' });
  return { toExact: covered() ? covered().at - changed : null, limit: LIMIT_MS };
}

async function measure(name, link) {
  const { rate } = links[link];
  const run = { system: name, link, linkName: links[link].name };
  await session({ screen: '1920x1080', far: true, hostNow: false, browserNow: false }, async (each) => {
    if (rate) await each.far.shape({ rate, latency: '200ms' });
    const text = (each.text = await openTextPage(each));
    const { pid, viewer } = await peers[name].start(each, links[link]);
    const scene = { text, viewer, far: each.far, screen: each.screen, pids: await family(pid) };
    // One of them looks at the screen only seconds after its viewer has come.
    await until(async () => {
      const changed = await text.turn();
      return viewer.change(text.white, changed, 500);
    }, { deadline: 20000, every: 300, what: 'the first change' });
    await pass(1000);
    run.still = await still(scene, 4);
    run.scroll = await scroll(scene, seconds);
    if (peers[name].sends === 'updates') run.page = await exactPage(scene);
    if (link === 'none') {
      await pass(1000);
      run.rest = await atRest(scene, 3);
    }
  });
  return run;
}

function report(run) {
  const name = `${run.system}, ${run.linkName}`;
  const { changes, frames, cpu, mbps } = run.scroll;
  figure(`change on a still page, median, ${name}`, run.still.changes.p50, 'ms');
  figure(`change on a still page, 95th of 100, ${name}`, run.still.changes.p95, 'ms');
  figure(`frames a second while scrolling, ${name}`, frames.fps, 'fps');
  figure(`gap between its frames, 95th of 100, ${name}`, frames.gaps.p95, 'ms');
  figure(`change while scrolling, median, ${name}`, changes.p50, 'ms');
  figure(`change while scrolling, 95th of 100, ${name}`, changes.p95, 'ms');
  figure(`changes missed while scrolling, of ${changes.n}, ${name}`, changes.missed, 'changes');
  figure(`processor share while scrolling, ${name}`, cpu, '% of a core');
  figure(`sent while scrolling, ${name}`, mbps, 'Mbit/s');
  if (run.page) figure(`new page until it is exact, ${name}`, run.page.toExact ?? Infinity, 'ms');
  if (run.rest) {
    figure(`processor share, still page, ${name}`, run.rest.cpu, '% of a core');
    figure(`resident memory, ${name}`, run.rest.memory.rss, 'MiB');
  }
}

for (const name of listed('PEERS', Object.keys(peers).join(' '))) {
  for (const link of listed('LINKS', name === 'gstreamer' ? 'none' : 'none 2mbit')) {
    const run = await measure(name, link).catch((error) => {
      console.log(`${name}, ${links[link].name}: not measured: ${error.message}`);
      process.exitCode = 1;
    });
    if (!run) continue;
    keepRun(run);
    report(run);
  }
}

await writeFigures(process.argv[2]);

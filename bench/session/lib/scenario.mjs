// The scenario that systems are compared with: a dense page stands still, scrolls for ten seconds and stands still again;
// then comes a new page. A square beside it turns black or white, which gives the time until a change is seen.
//
// A viewer is an object with take() and change(white, since, limit) as in frame-log.mjs; one with follow() tells how
// sharp its image is as well.
import { trueLuma } from './luma.mjs';
import { budget, timing } from './budget.mjs';
import { latencies, pace } from './distribution.mjs';
import { reference } from './frame-log.mjs';
import { cpuMeter, memory } from '../../../tests/e2e/lib/processes.mjs';

/// A change that was not seen within so many ms counts as missed.
const MISSED_MS = 2000;

export const now = () => performance.timeOrigin + performance.now();

export async function pass(ms) {
  await new Promise((resolve) => setTimeout(resolve, ms));
}

/// Turns the square until the time `end`; resolves to {changes, latencies}.
async function turns({ text, viewer }, end, pause) {
  const changes = [];
  for (let round = 0; now() < end; round++) {
    const changed = await text.turn();
    // A change that was missed is waited for, so that a frame from before is not taken for one that shows the next one.
    changes.push({ changed, frame: await viewer.change(text.white, changed, Math.max(MISSED_MS, end - now())) });
    // A different pause each time, so that changes are spread over the phases of periodic work.
    await pass(pause + 37 * (round % 7));
  }
  return { changes, latencies: latencies(changes.map(({ changed, frame }) => frame && frame.at - changed), MISSED_MS) };
}

/// The stages of these changes, for viewers that know them.
async function stagesOf({ viewer }, changes, frames) {
  return viewer.takeTimings ? budget(changes, frames, (await viewer.takeTimings()).map(timing)) : null;
}

/// While the page stands still.
export async function still(each, seconds, pause = 60) {
  await each.viewer.take();
  const { changes, latencies } = await turns(each, now() + seconds * 1000, pause);
  return { changes: latencies, stages: await stagesOf(each, changes, await each.viewer.take()) };
}

/// While the page scrolls: frames, changes, processor and wire; then how sharp it gets.
export async function scroll(each, seconds) {
  const { text, viewer, pids, far, screen } = each;
  await viewer.take();
  const [cpu, bytes] = [await cpuMeter(pids), await far.sentBytes()];
  const from = await text.tell('scroll');
  const to = from + seconds * 1000;
  const { changes, latencies } = await turns(each, to - 150, 120);
  await pass(Math.max(0, to - now()));
  const took = now() - from;
  const result = { changes: latencies, cpu: await cpu(), mbps: (((await far.sentBytes()) - bytes) * 8) / 1000 / took };
  const stopped = await text.tell('still');
  const frames = await viewer.take();
  result.frames = pace(frames.filter((frame) => frame.moved ?? true).map(({ at }) => at), from, to);
  result.stages = await stagesOf(each, changes, frames);
  if (!viewer.follow) return result;
  await pass(Math.max(0, stopped + 1000 - now()));
  await viewer.keep('after');
  await pass(2000);
  await viewer.keep('rest');
  const truth = reference(await trueLuma(screen), screen.width);
  return { ...result, sharpness: { after1s: await viewer.compare('after', truth), after3s: await viewer.compare('rest', truth) } };
}

/// A page that differs everywhere: how long until it can be read (30 dB) and is sharp (40 dB), in ms; null when it was
/// not within `limit` ms. `truth`: its reference().
export async function newPage({ text, viewer }, number, truth, limit) {
  await viewer.follow(truth);
  const changed = await text.tell(`page ${number}`);
  let curve = [];
  while (now() < changed + limit && !(curve.at(-1)?.[1] > 45)) {
    await pass(100);
    curve = (await viewer.sharpness()).filter(([at]) => at >= changed).map(([at, dB]) => [at - changed, dB]);
  }
  await viewer.follow(null);
  const within = (dB) => curve.find((point) => point[1] >= dB)?.[0] ?? null;
  return { to30dB: within(30), to40dB: within(40), limit, curve };
}

/// What a screen that stands still costs: share of a core in percent, and memory in MiB.
export async function atRest({ pids }, seconds) {
  const cpu = await cpuMeter(pids, { exact: true });
  await pass(seconds * 1000);
  return { cpu: await cpu(), memory: await memory(pids) };
}

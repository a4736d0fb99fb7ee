// Where the time from a change to its image in the page goes, from what a browser knows of the frames in one session.
import { distribution } from './distribution.mjs';

/// Fields of a sample of WebRTC's extension for video timing, in ms; sender and receiver have a clock each.
const fields = ['rtp', 'capture', 'encodeStart', 'encodeEnd', 'packetized', 'left'];

/// "rtp,capture,..." of a receiver's statistics to an object.
export function timing(text) {
  const values = text.split(',').map(Number);
  return Object.fromEntries(fields.map((name, index) => [name, values[index]]));
}

/// Distributions (ms) of each stage: {capture, wait, encoding, pacing, link, decoding, display, whole}; null without
/// samples.
/// `changes`: [{changed, frame}]; `frames`: those of the frame log; `timings`: the samples of some of them.
export function budget(changes, frames, timings) {
  const byStamp = new Map(frames.map((frame) => [frame.rtp, frame]));
  const samples = timings.map((each) => ({ ...each, frame: byStamp.get(each.rtp) })).filter(({ frame }) => frame?.received);
  if (samples.length === 0) return null;
  // RTP time stamps (90 kHz) are the time of capture plus an unknown constant: what the quickest way through the link
  // gives for it is too late by the shortest time on the link only.
  const first = samples[0].rtp;
  const sinceFirst = (rtp) => ((rtp - first) | 0) / 90;
  const origin = Math.min(...samples.map(({ rtp, capture, left, frame }) => frame.received - (left - capture) - sinceFirst(rtp)));
  const captured = (frame) => origin + sinceFirst(frame.rtp);
  const shown = frames.filter(({ received }) => received);
  const seen = changes.filter(({ frame }) => frame?.received);
  return {
    capture: distribution(seen.map(({ changed, frame }) => captured(frame) - changed)),
    wait: distribution(samples.map(({ capture, encodeStart }) => encodeStart - capture)),
    encoding: distribution(samples.map(({ encodeStart, encodeEnd }) => encodeEnd - encodeStart)),
    pacing: distribution(samples.map(({ encodeEnd, left }) => left - encodeEnd)),
    link: distribution(samples.map(({ capture, left, frame }) => frame.received - captured(frame) - (left - capture))),
    decoding: distribution(shown.map(({ received, presented }) => presented - received)),
    display: distribution(shown.map(({ presented, at }) => at - presented)),
    whole: distribution(seen.map(({ changed, frame }) => frame.at - changed)),
  };
}

// Statistics of the received video, once a second.

const PERIOD_MS = 1000;

// The figures of one statistics report. `before` is the last result, for what is counted since then; null at first.
// What the browser does not report is null. Pure.
//   width, height, codec, fps, kbps
//   decodeMs      mean time to decode a frame
//   delayMs       mean time that a frame waits between its arrival and its display
//   jitterMs      variation of the packets' arrival
//   lossPct       lost packets, in percent
//   freezes       since the connection began
//   roundTripMs   of the network alone
export function figuresOf(report, before) {
  const entries = [...report.values()];
  // The offer holds a second, unused video section; the one that moves bytes is ours.
  const video = entries
    .filter((entry) => entry.type === 'inbound-rtp' && entry.kind === 'video')
    .sort((a, b) => (b.bytesReceived ?? 0) - (a.bytesReceived ?? 0))[0];
  if (!video) return null;
  const codec = video.codecId && entries.find((entry) => entry.id === video.codecId);
  const counts = countsOf(video);
  const figures = {
    at: video.timestamp,
    bytes: video.bytesReceived ?? 0,
    frames: video.framesDecoded ?? 0,
    width: video.frameWidth ?? 0,
    height: video.frameHeight ?? 0,
    codec: codec?.mimeType?.replace(/^video\//i, '') ?? '',
    fps: null,
    kbps: null,
    decodeMs: null,
    delayMs: null,
    jitterMs: thousandfold(video.jitter),
    lossPct: null,
    freezes: counts.freezes,
    roundTripMs: roundTripOf(entries),
    counts,
  };
  const seconds = before ? (figures.at - before.at) / 1000 : 0;
  if (seconds > 0 && figures.bytes >= before.bytes) {
    figures.kbps = ((figures.bytes - before.bytes) * 8) / 1000 / seconds;
    figures.fps = (figures.frames - before.frames) / seconds;
    const since = (name) => difference(counts[name], before.counts?.[name]);
    figures.decodeMs = thousandfold(quotient(since('decodeSeconds'), since('decoded')));
    figures.delayMs = thousandfold(quotient(since('delaySeconds'), since('delayed')));
    // Packets that were thought lost may still arrive: the count may fall.
    const lost = since('lost');
    const received = since('received');
    if (lost !== null && received !== null && lost + received > 0) {
      figures.lossPct = (100 * Math.max(0, lost)) / Math.max(lost + received, 1);
    }
  }
  return figures;
}

// Numbers that only grow, null where the browser has none.
function countsOf(video) {
  return {
    decodeSeconds: number(video.totalDecodeTime),
    decoded: number(video.framesDecoded),
    delaySeconds: number(video.jitterBufferDelay),
    delayed: number(video.jitterBufferEmittedCount),
    lost: number(video.packetsLost),
    received: number(video.packetsReceived),
    freezes: number(video.freezeCount),
  };
}

function roundTripOf(entries) {
  const pairs = entries.filter((entry) => entry.type === 'candidate-pair' && entry.nominated && entry.state === 'succeeded');
  const used = pairs.sort((a, b) => (b.bytesReceived ?? 0) - (a.bytesReceived ?? 0))[0];
  return thousandfold(used?.currentRoundTripTime);
}

function number(value) {
  return Number.isFinite(value) ? value : null;
}

function difference(now, before) {
  return Number.isFinite(now) && Number.isFinite(before) ? now - before : null;
}

function quotient(sum, count) {
  return sum !== null && sum >= 0 && count > 0 ? sum / count : null;
}

function thousandfold(value) {
  return Number.isFinite(value) ? value * 1000 : null;
}

export function watchStats(getPeer, onFigures) {
  let peer = null;
  let last = null;
  setInterval(async () => {
    const pc = getPeer();
    if (pc !== peer) last = null;
    peer = pc;
    if (!pc || pc.connectionState !== 'connected') {
      onFigures(null);
      return;
    }
    last = figuresOf(await pc.getStats(), last);
    onFigures(last);
  }, PERIOD_MS);
}

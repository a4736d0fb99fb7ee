// Statistics of the received video, once a second.

const PERIOD_MS = 1000;

// The figures of one statistics report. `before` is the last result, for rates; null at first. Pure.
export function figuresOf(report, before) {
  const entries = [...report.values()];
  // The offer holds a second, unused video section; the one that moves bytes is ours.
  const video = entries
    .filter((entry) => entry.type === 'inbound-rtp' && entry.kind === 'video')
    .sort((a, b) => (b.bytesReceived ?? 0) - (a.bytesReceived ?? 0))[0];
  if (!video) return null;
  const codec = video.codecId && entries.find((entry) => entry.id === video.codecId);
  const figures = {
    at: video.timestamp,
    bytes: video.bytesReceived ?? 0,
    frames: video.framesDecoded ?? 0,
    width: video.frameWidth ?? 0,
    height: video.frameHeight ?? 0,
    codec: codec?.mimeType?.replace(/^video\//i, '') ?? '',
    fps: null,
    kbps: null,
  };
  const seconds = before ? (figures.at - before.at) / 1000 : 0;
  if (seconds > 0 && figures.bytes >= before.bytes) {
    figures.kbps = ((figures.bytes - before.bytes) * 8) / 1000 / seconds;
    figures.fps = (figures.frames - before.frames) / seconds;
  }
  return figures;
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

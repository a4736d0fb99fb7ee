// Other ways to show a screen on another machine, for comparison: each is started beside the text page and gets a viewer
// that measures. A peer runs in this side's network space, its viewer on the far machine.
import { join } from 'node:path';
import { Child } from '../../../tests/e2e/lib/child.mjs';
import { build } from '../../../tests/e2e/lib/paths.mjs';
import { until } from '../../../tests/e2e/lib/wait.mjs';

const PORT = 5907;
const CROPPED = 16;

/// Frames that a viewer has reported, in the form of FrameLog.
class Reported {
  constructor() {
    this.frames = [];
    this.all = [];
    this.waiting = [];
  }

  add(frame) {
    this.frames.push(frame);
    this.all.push(frame);
    const found = this.waiting.filter((each) => each.white === frame.white && frame.at >= each.since);
    this.waiting = this.waiting.filter((each) => !found.includes(each));
    for (const each of found) each.resolve(frame);
  }

  async take() {
    return this.frames.splice(0);
  }

  async change(white, since, limit) {
    const first = this.frames.find((frame) => frame.white === white && frame.at >= since);
    if (first) return first;
    return new Promise((resolve) => {
      const left = since + limit - (performance.timeOrigin + performance.now());
      const timer = setTimeout(() => resolve(null), Math.max(0, left));
      this.waiting.push({ white, since, resolve: (frame) => (clearTimeout(timer), resolve(frame)) });
    });
  }
}

/// A pixel of the square, [column, row].
function pixel(each) {
  const { width, height } = each.screen;
  return [Math.floor(each.text.place[0] * width), Math.floor(each.text.place[1] * height)];
}

/// The viewer of a VNC server: a frame is an update, which "moved" when it is of a quarter of the screen or more.
async function vncViewer(each) {
  const viewer = new Reported();
  const [command, ...rest] = each.far.wrapper;
  let child;
  await until(async () => {
    // The server listens some time after its start.
    if (child && !child.exit) return viewer.all.length > 0;
    child = each.keep(new Child(command, [...rest, join(build, 'bench/vnc_probe'), each.far.serverAddress, String(PORT), ...pixel(each).map(String)]));
    const area = (each.screen.width * each.screen.height) / 4;
    child.process.stdout.on('data', (text) => {
      for (const line of text.split('\n').filter(Boolean)) {
        const [at, pixels, red] = line.split(' ').map(Number);
        viewer.add({ at, pixels, moved: pixels >= area, white: red > 128 });
      }
    });
    return false;
  }, { deadline: 20000, every: 200, what: 'the first update' });
  return viewer;
}

function vnc(command, args) {
  return async (each) => {
    const server = each.keep(each.screen.start(command, args(each)));
    return { pid: server.pid, viewer: await vncViewer(each) };
  };
}

/// The size of one frame of the receiver below: I420.
const FRAME_BYTES = (CROPPED * CROPPED * 3) / 2;

/// A pipeline without any control of the rate: it is told what the link carries, `kbps` (null: no limit).
async function gstreamer(each, linkKbps) {
  const kbps = linkKbps ? Math.floor(linkKbps * 0.85) : 6000;
  const paced = linkKbps ? Math.floor(linkKbps * 0.95) : 100000;
  const viewer = new Reported();
  const [command, ...rest] = each.far.wrapper;
  const { width, height } = each.screen;
  const [column, row] = pixel(each).map((at) => (at - CROPPED / 2) & ~1);
  const receiver = each.keep(new Child(command, [...rest, 'gst-launch-1.0', '-q',
    'udpsrc', `port=${PORT}`, 'buffer-size=4194304', 'caps=application/x-rtp,media=video,clock-rate=90000,encoding-name=VP8,payload=96',
    '!', 'rtpjitterbuffer', 'latency=20', '!', 'rtpvp8depay', '!', 'vp8dec', '!', 'videocrop', `left=${column}`, `top=${row}`,
    `right=${width - column - CROPPED}`, `bottom=${height - row - CROPPED}`, '!', 'fdsink', 'fd=3', 'sync=false'], { stdio: ['pipe'] }));
  let waiting = Buffer.alloc(0);
  receiver.process.stdio[3].on('data', (data) => {
    waiting = Buffer.concat([waiting, data]);
    for (; waiting.length >= FRAME_BYTES; waiting = waiting.subarray(FRAME_BYTES)) {
      viewer.add({ at: performance.timeOrigin + performance.now(), white: waiting[(FRAME_BYTES / 3) | 0] > 128 });
    }
  });
  const sender = each.keep(each.screen.start('gst-launch-1.0', ['-q', 'ximagesrc', 'show-pointer=false', '!', 'video/x-raw,framerate=60/1',
    '!', 'queue', 'max-size-buffers=1', 'leaky=downstream', '!', 'videoconvert', '!', 'vp8enc', 'deadline=1', 'cpu-used=8', 'threads=2',
    `target-bitrate=${kbps * 1000}`, 'end-usage=cbr', 'buffer-initial-size=500', 'buffer-optimal-size=600', 'buffer-size=1000',
    'keyframe-max-dist=120', '!', 'rtpvp8pay', 'mtu=1200', '!', 'udpsink', `host=${each.far.address}`, `port=${PORT}`, 'sync=false',
    // Otherwise the packets of a key frame leave at once, more than a socket holds.
    `max-bitrate=${paced * 1000}`]));
  await until(() => {
    if (sender.exit || receiver.exit) throw new Error(`a pipeline ended: ${[...sender.text(), ...receiver.text()].join(' ')}`);
    return viewer.all.length > 0;
  }, { deadline: 20000, what: 'the first frame of the pipeline' });
  return { pid: sender.pid, viewer };
}

/// Each starts a peer; resolves to {pid, viewer}. `sends`: "updates" of exact pixels, or "frames" all the time.
export const peers = {
  x0vncserver: {
    package: 'tigervnc-scraping-server',
    sends: 'updates',
    // The program behind Debian's script "x0vncserver", which insists on a password.
    start: vnc('X0tigervnc', ({ screen }) => ['-display', screen.display, '-rfbport', String(PORT), '-SecurityTypes', 'None']),
  },
  x11vnc: {
    package: 'x11vnc',
    sends: 'updates',
    start: vnc('x11vnc', ({ far }) => ['-quiet', '-nopw', '-forever', '-shared', '-no6', '-listen', far.serverAddress, '-rfbport', String(PORT)]),
  },
  gstreamer: {
    package: 'gstreamer1.0-plugins-good',
    sends: 'frames',
    start: (each, link) => gstreamer(each, link.kbps),
  },
};

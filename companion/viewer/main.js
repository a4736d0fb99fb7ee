// Assembles the page: the room, the connections between its parts, and what the tests may inspect.

import { CaptureWatch } from './capture.js';
import { HostClipboard } from './clipboard.js';
import { Control } from './control.js';
import { KeyboardForwarder } from './input/keyboard.js';
import { PointerForwarder } from './input/pointer.js';
import { QualityRequest } from './quality.js';
import { Session } from './session.js';
import { watchStats } from './stats.js';
import { AccessView } from './ui/access.js';
import { ChatView } from './ui/chat.js';
import { CursorView } from './ui/cursor.js';
import { DisplaysView } from './ui/displays.js';
import { byId, show } from './ui/dom.js';
import { FiguresView } from './ui/figures.js';
import { initFullscreen } from './ui/fullscreen.js';
import { Notices } from './ui/notices.js';
import { QualityView } from './ui/quality.js';
import { StatusView } from './ui/status.js';

const CANNOT_SEND_ALTGR = 'Characters that need AltGr cannot be sent to the host. Nothing was typed for that key.';

// Every host accepts messages of this size, in bytes.
const SMALLEST_MESSAGE_LIMIT = 65536;

const stage = byId('stage');
const video = byId('screen');
const parameters = new URLSearchParams(location.search);

let session = null;
let connection = { state: 'connecting', detail: '' };

const notices = new Notices();
const figures = new FiguresView();
const cursor = new CursorView(stage);
const chat = new ChatView((message) => session?.signal(message) ?? false);
const status = new StatusView(() => enterRoom());

const control = new Control({
  state: (state) => {
    if (state !== 'on') releaseInput();
    access.setState(state);
    cursor.setActive(state === 'on');
    if (state === 'on') notices.remove('refused');
    returnToScreen();
  },
  ready: (ready) => {
    access.setReady(ready);
    qualityView.setReady(ready);
    quality.reset();
    capture.reset();
    session?.setChannelsOpen(ready);
  },
  // The end of the other channel does not affect unfinished texts and the display information, which is not sent again.
  reliable: (open) => {
    clipboard.setReady(open);
    if (!open) displays.reset();
  },
  roundTrip: (ms) => figures.roundTrip(ms),
  refused: () => notices.show('refused', 'The host does not allow remote control at the moment.'),
  message: (message) => receivedFromHost(message),
});

// What the host's clipboard holds: {text}, or {length, limit} of a text that is too long to be sent; null before that.
let hostText = null;
const clipboard = new HostClipboard(
  { channel: () => control.reliableChannel(), limit: () => session?.pc?.sctp?.maxMessageSize ?? SMALLEST_MESSAGE_LIMIT },
  { text: (text) => (hostText = { text }), tooLarge: (size) => (hostText = size) },
);

const access = new AccessView({
  unlock: (pin) => control.unlock(pin),
  enable: () => control.enable(),
  giveBack: () => {
    releaseInput();
    control.giveBack();
  },
});

const displays = new DisplaysView((index) => {
  control.send({ type: 'display_index', index });
  returnToScreen();
});

const quality = new QualityRequest((message) => control.send(message));
const qualityView = new QualityView((preset) => {
  quality.choose(preset);
  returnToScreen();
});
const capture = new CaptureWatch(() => showStatus());

const keyboard = new KeyboardForwarder(stage, {
  send: (message) => control.send(message),
  isActive: () => control.active,
  onLeave: () => byId('control-button').focus(),
  onUnsendable: () => notices.showOnce('altgr', CANNOT_SEND_ALTGR),
});

const pointer = new PointerForwarder(stage, video, {
  send: (message, options) => control.send(message, options),
  isActive: () => control.active,
});

// A viewer in control continues to type there after using the tool bar.
function returnToScreen() {
  if (control.active) stage.focus({ preventScroll: true });
}

function releaseInput() {
  keyboard.releaseAll();
  pointer.releaseAll();
}

function receivedFromHost(message) {
  switch (message.type) {
    case 'display_info':
      displays.receive(message);
      break;
    case 'cursor_shape':
      cursor.setShape(message.shape);
      break;
    case 'permission_required':
      notices.permission(String(message.permission));
      break;
    case 'host_stats':
      access.setDemo(message.demo === true);
      quality.receive(message);
      capture.receive(message);
      if (typeof message.hostName === 'string') byId('host-name').textContent = message.hostName;
      break;
    case 'ack':
    case 'clipboard_sync':
    case 'clipboard_too_large':
      clipboard.receive(message);
      break;
    default:
      break;
  }
}

function showStatus() {
  const { state, detail } = connection;
  const blind = state === 'connected' && capture.failed;
  status.show(state, blind ? 'no-capture' : detail, session?.serverMessage ?? '');
}

function socketUrl() {
  return `${location.protocol === 'https:' ? 'wss' : 'ws'}://${location.host}/`;
}

function enterRoom() {
  const room = parameters.get('room');
  const name = parameters.get('name') ?? '';
  const token = parameters.get('token') ?? '';
  session?.stop();
  session = null;
  control.drop();
  session = new Session(
    { url: socketUrl(), room, name, token },
    {
      state: (state, detail) => {
        connection = { state, detail };
        showStatus();
        stage.classList.toggle('stale', state !== 'connected');
        if (state === 'waiting') byId('host-name').textContent = '';
      },
      track: (track) => {
        video.srcObject = new MediaStream([track]);
        video.play().catch(() => {});
      },
      channel: (channel) => control.adopt(channel),
      replaced: () => {
        control.drop();
        notices.clear();
      },
      message: (message) => chat.receive(message),
    },
  );
  session.start();
}

function askForRoom() {
  document.body.dataset.connection = 'disconnected';
  byId('connection-text').textContent = 'No room';
  show(byId('room-card'), true);
  byId('room').focus();
}

window.addEventListener('blur', releaseInput);
window.addEventListener('pagehide', () => {
  releaseInput();
  session?.stop();
});
// A page that comes back from the browser's memory has to connect again.
window.addEventListener('pageshow', (event) => event.persisted && session && enterRoom());
document.addEventListener('visibilitychange', () => document.hidden && releaseInput());

initFullscreen(returnToScreen);
watchStats(
  () => session?.pc ?? null,
  (current) => figures.show(current),
);

window.vantora = {
  pc: () => session?.pc ?? null,
  channels: () => control.channels(),
  send: (message, options) => control.send(message, options),
  signal: (message) => session?.signal(message) ?? false,
  lastMessages: control.lastMessages,
  recentMessages: control.recentMessages,
  clipboard,
  hostText: () => hostText,
};

if (parameters.get('room')) {
  byId('room-name').textContent = parameters.get('room');
  document.title = `${parameters.get('room')} · Vantora Viewer`;
  enterRoom();
} else {
  askForRoom();
}

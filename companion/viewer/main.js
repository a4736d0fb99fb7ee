// Assembles the page: the room, the connections between its parts, and what the tests may inspect.

import { App } from './app.js';
import { Control } from './control/control.js';
import { CursorView } from './control/cursor.js';
import { InputGate } from './control/gate.js';
import { Input } from './control/input.js';
import { Session } from './link/session.js';
import { CaptureWatch } from './picture/capture.js';
import { FiguresView } from './picture/figures.js';
import { initFullscreen } from './picture/fullscreen.js';
import { PictureQuality } from './picture/quality.js';
import { watchStats } from './picture/stats.js';
import { addViewMenu } from './picture/view-menu.js';
import { PictureView } from './picture/view.js';
import { AccessView } from './shell/access.js';
import { Dock } from './shell/dock.js';
import { byId } from './shell/dom.js';
import { HostMenu } from './shell/host-menu.js';
import { addIcons } from './shell/icons.js';
import { Notices } from './shell/notices.js';
import { PeopleView } from './shell/people.js';
import { initRegions } from './shell/regions.js';
import { StatusView } from './shell/status.js';
import { ChatLog } from './tools/chat/log.js';
import { Unread } from './tools/chat/unread.js';
import { HostClipboard } from './tools/clipboard/clipboard.js';
import { ClipboardSync } from './tools/clipboard/sync.js';
import { DisplaysView } from './tools/displays/displays.js';
import { initFileDrop } from './tools/files/drop.js';
import { PANELS } from './tools/index.js';
import { RecordButton } from './tools/recording/button.js';
import { Statistics } from './tools/statistics/history.js';

const stage = byId('stage');
const video = byId('screen');
const parameters = new URLSearchParams(location.search);

const app = new App({
  room: parameters.get('room'),
  name: parameters.get('name'),
  token: parameters.get('token') ?? '',
});

addIcons();
app.notices = new Notices();
app.dock = new Dock(app, app.settings, () => {});

const figures = new FiguresView();
const cursor = new CursorView(stage);
const status = new StatusView(() => enterRoom());

const control = new Control({
  state: (state) => {
    if (state !== 'on') input.releaseAll();
    access.setState(state);
    cursor.setActive(state === 'on');
    if (state === 'on') app.notices.remove('refused');
    app.emit('control', state);
    // Control may come back by itself: the keys of a viewer who is busy elsewhere are not for the host.
    if (!document.activeElement?.closest('#dock, #type-card, dialog, .menu')) returnToScreen();
  },
  ready: (ready) => {
    access.setReady(ready, control.proving);
    capture.reset();
    app.session?.setChannelsOpen(ready);
    app.emit('ready', ready);
  },
  // The end of the other channel does not affect unfinished texts and the display information, which is not sent again.
  reliable: (open) => {
    app.clipboard.setReady(open);
    if (!open) displays.reset();
    app.emit('reliable', open);
  },
  roundTrip: (ms) => figures.roundTrip(ms),
  refused: () => app.notices.show('refused', 'The host does not allow remote control at the moment.'),
  message: (message) => receivedFromHost(message),
});
app.control = control;

// What the host's clipboard holds: {text}, or {length, limit} of a text that is too long to be sent; null before that.
let hostText = null;
app.clipboard = new HostClipboard(
  { channel: () => app.channel(), limit: () => app.messageLimit() },
  {
    text: (text) => {
      hostText = { text };
      app.emit('clipboard', hostText);
    },
    tooLarge: (size) => {
      hostText = size;
      app.emit('clipboard', hostText);
    },
    progress: (share) => app.emit('clipboard-progress', share),
  },
);
const gate = new InputGate((message, options) => control.send(message, options));
app.clipboardSync = new ClipboardSync(app, stage, gate);
app.chat = new ChatLog(app);
app.unread = new Unread(app);
app.statistics = new Statistics(app);

const access = new AccessView({
  unlock: (pin) => control.unlock(pin),
  enable: () => control.enable(),
  giveBack: () => {
    input.releaseAll();
    control.giveBack();
  },
});

app.askForPin = () => access.ask();

const displays = new DisplaysView((index) => {
  control.send({ type: 'display_index', index });
  returnToScreen();
});

new PictureQuality(app);
const capture = new CaptureWatch(() => showStatus());

const view = new PictureView(app, stage, video);
const input = new Input(app, stage, video, { view, displays, gate });
addViewMenu(app, view, displays);

// A viewer in control continues to type there after using the tool bar.
function returnToScreen() {
  if (control.active) input.focus();
}
app.returnToScreen = returnToScreen;

function receivedFromHost(message) {
  switch (message.type) {
    case 'display_info':
      displays.receive(message);
      break;
    case 'cursor_shape':
      cursor.setShape(message.shape);
      break;
    case 'permission_required':
      app.notices.permission(message.permission);
      break;
    case 'host_stats':
      access.setDemo(message.demo === true);
      capture.receive(message);
      displays.receiveStats(message);
      break;
    case 'ack':
    case 'clipboard_sync':
    case 'clipboard_too_large':
      app.clipboard.receive(message);
      break;
    default:
      break;
  }
  app.emit('message', message);
}

function showStatus() {
  const { state, detail } = app.connection;
  const blind = state === 'connected' && capture.failed;
  status.show(state, blind ? 'no-capture' : detail, {
    serverMessage: app.session?.serverMessage,
    other: app.session?.supersededBy,
  });
}

function socketUrl() {
  return `${location.protocol === 'https:' ? 'wss' : 'ws'}://${location.host}/`;
}

function enterRoom() {
  app.session?.stop();
  app.session = null;
  control.drop();
  const session = new Session(
    { url: socketUrl(), room: app.room, name: app.name, token: app.token },
    {
      state: (state, detail) => {
        app.connection = { state, detail };
        showStatus();
        stage.classList.toggle('stale', state !== 'connected');
        app.emit('connection', app.connection);
      },
      track: (track) => {
        video.srcObject = new MediaStream([track]);
        video.play().catch(() => {});
        app.emit('track', track);
      },
      channel: (channel) => control.adopt(channel),
      replaced: () => {
        control.drop();
        app.notices.clear();
        app.emit('replaced');
      },
      people: (people) => {
        app.people = people;
        app.emit('people', people);
      },
      message: (message) => app.emit('signal', message),
    },
  );
  app.session = session;
  session.start();
}

window.addEventListener('blur', () => input.releaseAll());
window.addEventListener('pagehide', () => {
  input.releaseAll();
  app.session?.stop();
});
// A page that comes back from the browser's memory has to connect again.
window.addEventListener('pageshow', (event) => event.persisted && app.session && enterRoom());
document.addEventListener('visibilitychange', () => document.hidden && input.releaseAll());

for (const panel of PANELS) app.dock.add(panel);
initRegions();
initFullscreen(returnToScreen);
if (app.room) new RecordButton(app, video);
byId('figures').addEventListener('click', () => app.dock.open('statistics'));
watchStats(
  () => app.pc,
  (current) => {
    figures.show(current);
    app.emit('figures', current);
  },
);

window.vantora = {
  app,
  pc: () => app.pc,
  channels: () => control.channels(),
  send: (message, options) => control.send(message, options),
  signal: (message) => app.signal(message),
  lastMessages: control.lastMessages,
  recentMessages: control.recentMessages,
  clipboard: app.clipboard,
  hostText: () => hostText,
};

if (app.room) {
  new HostMenu(app);
  new PeopleView(app);
  initFileDrop(app, stage.parentElement);
  enterRoom();
} else {
  const { showStart } = await import('./start/start.js');
  showStart(byId('start'), app.settings);
}

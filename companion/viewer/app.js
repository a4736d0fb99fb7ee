// What the parts of the page share: the connection to the host and to the room, events, settings, notices.

import { Events } from './shell/events.js';
import { Settings } from './shell/settings.js';

// Every host accepts messages of this size, in bytes.
const SMALLEST_MESSAGE_LIMIT = 65536;

// Events, by on(name, listener):
//   'message' (message)     a control message of the host
//   'signal' (message)      a message of the room that is not about the connection: chat, reactions
//   'ready' (bool)          the channels to the host have opened or closed
//   'reliable' (bool)       the same of "control_reliable" alone
//   'control' (state)       "locked", "denied", "off" or "on", see Control
//   'connection' ({state, detail})   see Session
//   'figures' (figures or null)      of the received video, once a second, see stats.js
//   'clipboard' (content)   of the host: {text}, or {length, limit} of one that is too long
//   'clipboard-progress' (share)   of a long text of the host that arrives, 0 to 1; null: it was broken off
//   'files-refused' ({folders, refused})   what of a drop is not sent
//   'replaced' ()           there is another peer connection
//   'people' ({names, you}) the viewers in the room have changed, see Session
//   'track' (track)         the host's video, again with each peer connection
export class App {
  #events = new Events();
  settings = new Settings();
  // Set by the page that assembles the parts.
  session = null;
  control = null;
  notices = null;
  dock = null;
  connection = { state: 'connecting', detail: '' };
  people = { names: [], you: -1 };
  // askForPin() opens the card for the PIN.
  askForPin = () => {};

  // `room`: the room's name or null; `name`: the viewer's for the chat, may be empty; null: the one that was set
  // on the start page.
  constructor({ room, name = null, token = '' }) {
    this.room = room;
    this.name = name ?? this.settings.get('name', '');
    this.token = token;
  }

  on(name, listener) {
    return this.#events.on(name, listener);
  }

  emit(name, ...values) {
    this.#events.emit(name, ...values);
  }

  // The peer connection, or null.
  get pc() {
    return this.session?.pc ?? null;
  }

  // Whether messages reach the host.
  get ready() {
    return this.control?.reliableChannel() != null;
  }

  // Sends a control message; returns whether it was handed to a channel.
  send(message, options) {
    return this.control.send(message, options);
  }

  // Sends a message to the room; returns whether it went out.
  signal(message) {
    return this.session?.signal(message) ?? false;
  }

  // The open reliable channel, or null.
  channel() {
    return this.control.reliableChannel();
  }

  // Bytes of the longest message that the host accepts.
  messageLimit() {
    return this.pc?.sctp?.maxMessageSize ?? SMALLEST_MESSAGE_LIMIT;
  }
}

// The connection, in words: the pill in the tool bar and the card over the screen.

import { byId, show } from './dom.js';

const PILL = {
  connecting: 'Connecting',
  waiting: 'Waiting for host',
  connected: 'Connected',
  disconnected: 'Disconnected',
};

// [title, text, busy]
const CARDS = {
  'connecting ': ['Connecting to the host', 'The host is there. Setting up the picture.', true],
  'connecting server': ['Reaching the server', 'Joining the room.', true],
  'waiting host': ['Waiting for the host', 'Nobody shares a screen in this room yet. It appears here by itself.', true],
  'disconnected lost': ['Connection lost', 'Trying to get the screen back.', true],
  'disconnected server': ['Server not reachable', 'Trying again in a moment.', true],
  'connected no-capture': [
    'No picture from the host',
    'The host is connected but cannot record its screen. Ask the person there to permit it, or to share another display.',
    false,
  ],
  'disconnected superseded': ['Opened somewhere else', '%s has taken over this room. You can still read and write in the chat.', false],
  'disconnected left': ['Opened somewhere else', '%s has taken over this room, and the connection to the server has ended since.', false],
  'disconnected vacant': ['The other viewer has left', 'Nobody is watching this host at the moment.', false],
};

export class StatusView {
  #onTakeOver;

  constructor(onTakeOver) {
    this.#onTakeOver = onTakeOver;
    byId('take-over').addEventListener('click', () => {
      this.#onTakeOver();
      byId('stage').focus({ preventScroll: true });
    });
  }

  // `serverMessage`: the reason that the server gave when it closed the connection, if any; `other`: the name of the
  // viewer who took the room over.
  show(state, detail, { serverMessage = '', other = '' }) {
    document.body.dataset.connection = state;
    byId('connection-text').textContent = PILL[state];
    const card = CARDS[`${state} ${detail}`];
    show(byId('status-card'), Boolean(card));
    if (!card) return;
    const [title, text, busy] = card;
    byId('status-title').textContent = title;
    byId('status-text').textContent =
      detail === 'server' && serverMessage ? `The server said: ${serverMessage}. Trying again.` : text.replace('%s', () => nameOf(other));
    show(byId('status-spinner'), busy);
    show(byId('take-over'), ['superseded', 'left', 'vacant'].includes(detail));
  }
}

const nameOf = (name) => (name && name !== 'viewer' ? `“${name}”` : 'Another viewer');

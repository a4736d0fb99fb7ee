// The chat panel. What others write is text, never markup.

import { byId, make, show } from './dom.js';

const MAX_LINES = 500;
const REACTIONS = {
  thumbs_up: ['\u{1F44D}', 'Thumbs up'],
  clap: ['\u{1F44F}', 'Clap'],
  check: ['\u2705', 'Check'],
  question: ['\u2753', 'Question'],
  coffee: ['\u2615\uFE0F', 'Coffee'],
  rocket: ['\u{1F680}', 'Rocket'],
  heart: ['\u2764\uFE0F', 'Heart'],
};

export class ChatView {
  #signal;
  #unread = 0;

  // signal(message): returns whether it was sent.
  constructor(signal) {
    this.#signal = signal;
    byId('chat-button').addEventListener('click', () => this.#toggle());
    byId('chat-close').addEventListener('click', () => this.#toggle());
    byId('chat-form').addEventListener('submit', (event) => {
      event.preventDefault();
      const text = byId('chat-input').value.trim();
      if (text && this.#signal({ type: 'chat_send', text })) byId('chat-input').value = '';
    });
    for (const [reaction, [symbol, name]] of Object.entries(REACTIONS)) {
      const button = make('button', 'reaction', symbol);
      button.type = 'button';
      button.title = name;
      button.setAttribute('aria-label', `Send reaction: ${name}`);
      button.addEventListener('click', () => this.#signal({ type: 'reaction_send', reaction }));
      byId('reactions').append(button);
    }
  }

  // "chat_broadcast" and "reaction_broadcast"; other messages are not for the chat.
  receive(message) {
    const from = typeof message.from === 'string' ? message.from : '?';
    if (message.type === 'chat_broadcast' && typeof message.text === 'string') {
      this.#append(from, message.text, message.ts);
    } else if (message.type === 'reaction_broadcast') {
      const known = Object.hasOwn(REACTIONS, message.reaction);
      this.#append(from, known ? REACTIONS[message.reaction][0] : '\u{1F514}', Date.now(), 'reaction-line');
    }
  }

  #append(from, text, ts, className = '') {
    const log = byId('chat-log');
    show(byId('chat-empty'), false);
    const atEnd = log.scrollHeight - log.scrollTop - log.clientHeight < 40;
    const line = make('li', `chat-line ${from.toLowerCase() === 'host' ? 'from-host' : 'from-viewer'} ${className}`);
    const head = make('div', 'chat-head');
    const when = new Date(Number.isFinite(ts) ? ts : Date.now());
    head.append(make('span', 'chat-from', from), make('time', 'chat-time', timeText(when)));
    line.append(head, make('p', 'chat-text', text));
    log.append(line);
    while (log.children.length > MAX_LINES) log.firstElementChild.remove();
    if (atEnd) log.scrollTop = log.scrollHeight;
    if (byId('chat-panel').hidden) this.#setUnread(this.#unread + 1);
  }

  #toggle() {
    const panel = byId('chat-panel');
    show(panel, panel.hidden);
    byId('chat-button').setAttribute('aria-expanded', String(!panel.hidden));
    if (panel.hidden) {
      byId('chat-button').focus();
    } else {
      this.#setUnread(0);
      byId('chat-log').scrollTop = byId('chat-log').scrollHeight;
      byId('chat-input').focus();
    }
  }

  #setUnread(count) {
    this.#unread = count;
    byId('chat-unread').textContent = count > 99 ? '99+' : String(count);
    show(byId('chat-unread'), count > 0);
    byId('chat-button').setAttribute('aria-label', count ? `Chat, ${count} new` : 'Chat');
  }
}

function timeText(when) {
  return Number.isNaN(when.getTime()) ? '' : when.toLocaleTimeString([], { hour: '2-digit', minute: '2-digit' });
}

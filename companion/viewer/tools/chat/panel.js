// The chat panel. What others write is text, never markup.

import { make, makeButton, show } from '../../shell/dom.js';
import { REACTIONS } from './log.js';
import { withLinks } from './links.js';

// What the host shows of a line at most, in UTF-16 units.
const MAX_TEXT = 1400;

export function mount(body, app) {
  body.classList.add('chat');
  const empty = make('p', 'panel-hint', 'No messages yet. Everyone in the room can read what you write.');
  empty.id = 'chat-empty';
  const log = make('div', 'chat-log');
  log.id = 'chat-log';
  log.setAttribute('role', 'log');
  log.setAttribute('aria-label', 'Messages');
  log.tabIndex = 0;

  const append = (line) => {
    show(empty, false);
    show(log, true);
    const atEnd = log.scrollHeight - log.scrollTop - log.clientHeight < 40;
    log.append(lineElement(line));
    while (log.children.length > app.chat.lines.length) log.firstElementChild.remove();
    if (atEnd) log.scrollTop = log.scrollHeight;
  };
  show(log, false);
  for (const line of app.chat.lines) append(line);
  app.chat.onLine(append);

  const input = composer(app);
  body.append(empty, log, reactions(app), input.form);
  return {
    shown() {
      app.unread.seen();
      log.scrollTop = log.scrollHeight;
      input.field.focus();
    },
  };
}

function lineElement({ from, fromHost, text, at, reaction }) {
  const item = make('div', `chat-line ${fromHost ? 'from-host' : 'from-viewer'} ${reaction ? 'reaction-line' : ''}`.trim());
  const head = make('div', 'chat-head');
  const time = make('time', 'chat-time', at.toLocaleTimeString([], { hour: '2-digit', minute: '2-digit' }));
  time.dateTime = at.toISOString();
  head.append(make('span', 'chat-from', from), time);
  const paragraph = make('p', 'chat-text');
  for (const piece of withLinks(text)) paragraph.append(piece.href ? linkElement(piece) : piece.text);
  item.append(head, paragraph);
  return item;
}

function linkElement({ text, href }) {
  const link = make('a', '', text);
  link.href = href;
  link.target = '_blank';
  link.rel = 'noopener noreferrer';
  return link;
}

function reactions(app) {
  const row = make('div', 'reactions');
  row.setAttribute('role', 'group');
  row.setAttribute('aria-label', 'Reactions');
  for (const [reaction, [symbol, name]] of Object.entries(REACTIONS)) {
    const button = make('button', 'reaction', symbol);
    button.type = 'button';
    button.title = name;
    button.setAttribute('aria-label', `Send reaction: ${name}`);
    button.addEventListener('click', () => app.chat.react(reaction));
    row.append(button);
  }
  const sound = makeButton({ text: 'Sound for new messages', iconName: 'bell', iconOnly: true, className: 'quiet sound' }, () => {
    app.settings.set('chat.sound', !app.settings.get('chat.sound', false));
    showSound();
  });
  const showSound = () => sound.setAttribute('aria-pressed', String(app.settings.get('chat.sound', false)));
  showSound();
  row.append(sound);
  return row;
}

function composer(app) {
  const form = make('form', 'chat-form');
  form.id = 'chat-form';
  const field = make('textarea', '');
  field.id = 'chat-input';
  field.rows = 1;
  field.maxLength = MAX_TEXT;
  field.placeholder = 'Type a message…';
  field.setAttribute('aria-label', 'Message');
  field.dataset.focusFirst = '';
  const failed = make('p', 'chat-failed', 'Not sent: the room cannot be reached. Try again in a moment.');
  failed.setAttribute('role', 'status');
  show(failed, false);
  const submit = () => {
    const text = field.value.trim();
    if (!text) return;
    const sent = app.chat.say(text);
    show(failed, !sent);
    if (sent) field.value = '';
  };
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    submit();
  });
  // Shift+Enter begins another line.
  field.addEventListener('keydown', (event) => {
    if (event.key !== 'Enter' || event.shiftKey || event.isComposing) return;
    event.preventDefault();
    submit();
  });
  const send = make('button', 'button primary', 'Send');
  send.type = 'submit';
  form.append(field, send, failed);
  return { form, field };
}

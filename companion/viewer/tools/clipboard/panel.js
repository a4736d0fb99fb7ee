// The clipboard panel: texts in both directions, and the choice to keep both clipboards in step.

import { make, makeButton, show } from '../../shell/dom.js';
import { clipboardObstacle, readOwnText, writeOwnText } from './access.js';
import { utf8Length } from './clipboard.js';
import { BROKEN_OFF, NO_ANSWER, OFFLINE, OUTCOMES, countText, tooLargeText } from './words.js';

// A field with megabytes of text would stop the page for seconds.
const MAX_SHOWN = 20000;
const ANSWER_MS = 15000;

export function mount(body, app) {
  body.append(inStep(app), toHost(app), fromHost(app));
}

function toHost(app) {
  const section = part('To the host');
  const field = make('textarea', 'clipboard-text');
  field.rows = 4;
  field.placeholder = 'Type or paste a text here';
  field.spellcheck = false;
  field.setAttribute('aria-label', 'Text for the host');
  field.dataset.focusFirst = '';
  const note = statusLine();
  const own = makeButton({ text: 'Send my clipboard' }, async () => {
    try {
      const text = await readOwnText();
      if (text) await send(text, true);
      else note.tell('There is no text on your clipboard.', true);
    } catch (error) {
      note.tell(error.message, true);
    }
  });
  const typed = makeButton({ text: 'Send text' }, () => send(field.value, false));
  let sends = 0;
  const send = async (text, mine) => {
    const number = ++sends;
    note.tell(`Sending ${countText(utf8Length(text))}…`);
    const outcome = await app.clipboard.set(text, (share) => note.tell(`Sending… ${Math.floor(share * 100)} %`));
    if (outcome === 'set') app.clipboardSync.sent(text, { mine });
    if (number === sends) note.tell(OUTCOMES[outcome], outcome !== 'set');
  };
  const refresh = () => {
    typed.disabled = !app.ready || field.value === '';
    own.disabled = !app.ready;
  };
  field.addEventListener('input', refresh);
  app.on('reliable', refresh);
  refresh();
  const row = make('div', 'panel-row');
  row.append(typed, own);
  section.append(field, row, note.element);
  return section;
}

function fromHost(app) {
  const section = part('From the host');
  const field = make('textarea', 'clipboard-text');
  field.rows = 4;
  field.readOnly = true;
  field.setAttribute('aria-label', 'Text of the host');
  const note = statusLine();
  let text = null;
  let timer = 0;
  const copy = makeButton({ text: 'Copy' }, async () => {
    if (await writeOwnText(text)) {
      app.clipboardSync.taken(text);
      note.tell('It is on your clipboard now.');
    } else {
      field.focus();
      field.select();
      const short = text.length <= MAX_SHOWN;
      note.tell(`${clipboardObstacle()} ${short ? 'The text is selected: press Ctrl+C.' : 'Only the shown part can be copied with Ctrl+C.'}`.trim(), true);
    }
  });
  const get = makeButton({ text: 'Get the host’s text' }, () => {
    note.tell('Asking the host…');
    clearTimeout(timer);
    timer = setTimeout(() => note.tell(NO_ANSWER, true), ANSWER_MS);
    app.clipboard.request();
  });
  const display = (content) => {
    clearTimeout(timer);
    text = content.text || null;
    show(field, text !== null);
    show(copy, text !== null);
    if (content.text === undefined) {
      note.tell(tooLargeText(content), true);
    } else if (!text) {
      note.tell('The host’s clipboard is empty, or holds something that is no text.');
    } else {
      field.value = text.slice(0, MAX_SHOWN);
      const more = text.length > MAX_SHOWN ? ' Only its beginning is shown here; “Copy” takes all of it.' : '';
      note.tell(`${countText(utf8Length(text))}.${more}`);
    }
  };
  app.on('clipboard', display);
  app.on('clipboard-progress', (share) => {
    clearTimeout(timer);
    if (share === null) note.tell(BROKEN_OFF, true);
    else note.tell(`Receiving… ${Math.floor(share * 100)} %`);
  });
  app.on('reliable', (ready) => {
    get.disabled = !ready;
    if (ready && note.element.textContent === OFFLINE) note.tell('');
    if (ready) return;
    clearTimeout(timer);
    note.tell(OFFLINE);
  });
  get.disabled = !app.ready;
  show(field, false);
  show(copy, false);
  const row = make('div', 'panel-row');
  row.append(get, copy);
  section.append(row, field, note.element);
  return section;
}

function inStep(app) {
  const { clipboardSync } = app;
  const section = part('In step');
  const obstacle = clipboardObstacle();
  const on = check('Keep both clipboards in step', (checked) => clipboardSync.set(checked));
  const always = check('Also at my next visits with this browser', (checked) => clipboardSync.set(true, checked));
  const about = make('p', 'panel-note', 'Ctrl+V on the picture pastes your clipboard on the host. What is copied on the host comes to your clipboard.');
  const state = statusLine();
  const refresh = () => {
    on.input.checked = clipboardSync.on;
    always.input.checked = clipboardSync.always;
    show(always.element, clipboardSync.on);
    const waiting = 'A text of the host waits: click on this page to take it to your clipboard.';
    const oneWay = `${obstacle} Ctrl+V on the picture works; texts of the host have to be copied from below.`;
    state.tell(!clipboardSync.on ? '' : obstacle ? oneWay : clipboardSync.waits ? waiting : '');
  };
  clipboardSync.onChange(refresh);
  section.append(on.element, about, always.element, state.element);
  refresh();
  return section;
}

function part(title) {
  const section = make('section', 'panel-section');
  const heading = make('h3', '', title);
  heading.id = `clipboard-${title.toLowerCase().replaceAll(' ', '-')}`;
  section.setAttribute('aria-labelledby', heading.id);
  section.append(heading);
  return section;
}

function check(text, change) {
  const element = make('label', 'clipboard-check');
  const input = make('input', '');
  input.type = 'checkbox';
  input.addEventListener('change', () => change(input.checked));
  element.append(input, make('span', '', text));
  return { element, input };
}

function statusLine() {
  const element = make('p', 'panel-note');
  element.setAttribute('role', 'status');
  show(element, false);
  const tell = (text, bad = false) => {
    element.textContent = text;
    element.classList.toggle('bad', bad);
    show(element, Boolean(text));
  };
  return { element, tell };
}

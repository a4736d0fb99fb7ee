// What fingers and keys do on the picture, in short.

import { make, makeButton } from '../shell/dom.js';
import { SHORTCUT_PREFIX } from './chords.js';

const TOUCH = [
  ['Tap', 'Click there'],
  ['Tap twice', 'Double click; while only watching: fit or actual size'],
  ['Drag', 'Drag with the left button; while only watching: move the picture'],
  ['Hold until the ring closes', 'Click with the right button'],
  ['Tap with two fingers', 'Click with the right button'],
  ['Tap with three fingers', 'Click with the middle button'],
  ['Drag with two fingers', 'Move the picture, or scroll on the host'],
  ['Pinch', 'Size of the picture'],
];
const KEYS = [
  ['F6', 'Leaves the picture for the tool bar, the tools and the panel'],
  [`${SHORTCUT_PREFIX}1 … 9`, 'Display of the host'],
  [`${SHORTCUT_PREFIX}PgUp, PgDn`, 'Previous and next display'],
  [`${SHORTCUT_PREFIX}0`, 'Picture fits the window'],
  [`${SHORTCUT_PREFIX}Bksp`, 'Actual size: a pixel for each of the host'],
  [`${SHORTCUT_PREFIX}Plus, Minus`, 'Larger and smaller'],
  [`${SHORTCUT_PREFIX}arrow`, 'Moves a large picture; so does the pointer at its edge'],
];

const LOCK = ['Full screen', 'Alt+Tab, Super, Escape and the like go to the host; holding Escape leaves'];

export function showHelp(onClose) {
  const dialog = make('dialog', 'dialog help-card');
  dialog.setAttribute('aria-labelledby', 'help-title');
  const title = make('h2', '', 'Touch and shortcuts');
  title.id = 'help-title';
  const close = makeButton({ text: 'Close', className: 'primary' }, () => dialog.close());
  const buttons = make('div', 'panel-row dialog-buttons');
  buttons.append(close);
  const keys = navigator.keyboard?.lock ? [...KEYS, LOCK] : KEYS;
  dialog.append(title, list('Fingers', TOUCH), list('Keys of this page', keys), buttons);
  dialog.addEventListener('close', () => {
    dialog.remove();
    onClose();
  });
  document.body.append(dialog);
  dialog.showModal();
  close.focus();
}

function list(heading, rows) {
  const section = make('section', '');
  const entries = make('dl', 'help-list');
  for (const [what, does] of rows) entries.append(make('dt', '', what), make('dd', '', does));
  section.append(make('h3', '', heading), entries);
  return section;
}

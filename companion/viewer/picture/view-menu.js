// The menu of the picture's size, and of the host's displays.

import { SHORTCUT_PREFIX } from '../control/chords.js';
import { byId } from '../shell/dom.js';
import { Menu } from '../shell/menu.js';
import { ACTUAL, FIT } from './layout.js';

const percent = (scale) => `${Math.round(scale * 100)} %`;

// `view`: the PictureView, `displays`: the DisplaysView.
export function addViewMenu(app, view, displays) {
  const button = byId('view-button');
  new Menu(button, 'Size of the picture', () => {
    const then = (act) => () => {
      act();
      app.returnToScreen();
    };
    const { size, scale } = view;
    const other = size !== FIT && size !== ACTUAL;
    const entry = (text, key, wanted) => ({
      text,
      detail: key && SHORTCUT_PREFIX + key,
      checked: size === wanted,
      run: then(() => view.setSize(wanted)),
    });
    return [
      { heading: scale ? `Picture at ${percent(scale)}` : 'Picture' },
      entry('Fit', '0', FIT),
      entry('Actual size, 1:1', 'Bksp', ACTUAL),
      ...(other ? [entry(percent(size), '', size)] : []),
      { divider: true },
      { text: 'Larger', detail: `${SHORTCUT_PREFIX}Plus`, disabled: !scale, run: then(() => view.step(1)) },
      { text: 'Smaller', detail: `${SHORTCUT_PREFIX}Minus`, disabled: !scale, run: then(() => view.step(-1)) },
      ...displayEntries(displays, then),
    ];
  });
  button.hidden = false;
}

function displayEntries(displays, then) {
  if (displays.count < 2) return [];
  const entries = Array.from({ length: displays.count }, (_, index) => ({
    text: displays.nameOf(index),
    detail: index < 9 ? `${SHORTCUT_PREFIX}${index + 1}` : '',
    checked: index === displays.current,
    run: then(() => displays.choose(index)),
  }));
  return [
    { divider: true },
    { heading: 'Display of the host' },
    ...entries,
    { divider: true },
    { text: 'Next display', detail: `${SHORTCUT_PREFIX}PgDn`, run: then(() => displays.step(1)) },
    { text: 'Previous display', detail: `${SHORTCUT_PREFIX}PgUp`, run: then(() => displays.step(-1)) },
  ];
}

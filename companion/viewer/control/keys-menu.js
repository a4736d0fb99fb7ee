// The menu of keys that the viewer's browser keeps for itself, and of ways to type.

import { byId } from '../shell/dom.js';
import { Menu } from '../shell/menu.js';
import { HOST_KEYS } from './chords.js';

// actions: send(message), characters(bool), typeText(), keyboard(): shows that of a touch screen, help()
export function addKeysMenu(app, actions, isByCharacter) {
  const button = byId('keys-button');
  new Menu(button, 'Keys and text', () => {
    const off = !app.control.active;
    const sent = (message) => () => {
      actions.send(message);
      app.returnToScreen();
    };
    return [
      { heading: off ? 'Take control to send keys' : 'Send to the host' },
      ...HOST_KEYS.map(({ text, detail, message }) => ({ text, detail, disabled: off, run: sent(message) })),
      { divider: true },
      { text: 'Type a text…', detail: 'Any characters', disabled: off, run: actions.typeText },
      { text: 'On-screen keyboard', detail: 'Also for input methods', disabled: off, run: actions.keyboard },
      { divider: true },
      { heading: 'My keyboard' },
      { text: 'Same layout as the host', checked: !isByCharacter(), run: () => actions.characters(false) },
      { text: 'Another layout: send characters', checked: isByCharacter(), run: () => actions.characters(true) },
      { divider: true },
      { text: 'Touch and shortcuts…', run: actions.help },
    ];
  });
  button.hidden = false;
}

// Asking for control: the PIN card and the button in the tool bar.

import { byId, show } from './dom.js';

const BUTTON = { locked: 'Take control', denied: 'Take control', off: 'Take control', on: 'Give back control' };
const MODE = { locked: 'View only', denied: 'View only', off: 'View only', on: 'In control' };

export class AccessView {
  #state = 'locked';
  #ready = false;
  #proving = false;
  #dismissed = false;
  #demo = false;
  #actions;

  // actions.unlock(pin), actions.enable(), actions.giveBack()
  constructor(actions) {
    this.#actions = actions;
    byId('control-button').addEventListener('click', () => this.#pressed());
    byId('pin-dismiss').addEventListener('click', () => {
      this.#dismissed = true;
      this.#refresh();
    });
    byId('pin-card').addEventListener('submit', (event) => {
      event.preventDefault();
      const pin = byId('pin').value.trim();
      if (!pin && !this.#demo) {
        this.#explain('Enter the PIN first.', true);
        byId('pin').focus();
        return;
      }
      this.#explain('Checking the PIN…');
      actions.unlock(pin);
    });
    byId('pin').addEventListener('input', () => {
      if (this.#state === 'denied') this.#explain();
      byId('pin').removeAttribute('aria-invalid');
    });
    this.#refresh();
  }

  // Without the reliable channel control cannot be requested. `proving`: the page has sent the PIN by itself, so it is not
  // asked for before the answer.
  setReady(ready, proving = false) {
    this.#ready = ready;
    this.#proving = proving;
    this.#refresh();
  }

  // A demonstration room accepts any PIN, also an empty one.
  setDemo(demo) {
    if (demo === this.#demo) return;
    this.#demo = demo;
    this.#explain();
  }

  setState(state) {
    this.#state = state;
    this.#proving = false;
    document.body.dataset.control = state;
    const wrong = state === 'denied';
    if (wrong) byId('pin').setAttribute('aria-invalid', 'true');
    else byId('pin').removeAttribute('aria-invalid');
    if (wrong) {
      this.#dismissed = false;
      this.#explain('That PIN is not right. Check it on the host and try again.', true);
    } else {
      this.#explain();
      byId('pin').value = '';
    }
    this.#refresh();
    if (wrong) {
      byId('pin').focus();
      byId('pin').select();
    }
  }

  // Opens the card for the PIN where the PIN is what is missing.
  ask() {
    this.#dismissed = false;
    this.#proving = false;
    this.#refresh();
    byId('pin').focus();
  }

  #pressed() {
    if (this.#state === 'on') {
      this.#actions.giveBack();
    } else if (this.#state === 'off') {
      this.#actions.enable();
    } else {
      this.ask();
    }
  }

  #explain(text, wrong = false) {
    const line = byId('pin-message');
    line.textContent = text ?? (this.#demo ? 'This is a demo room: any PIN will do.' : 'Shown on the host, in its menu.');
    line.classList.toggle('wrong', wrong);
  }

  #refresh() {
    const state = this.#state;
    const button = byId('control-button');
    byId('control-label').textContent = BUTTON[state];
    button.disabled = !this.#ready;
    button.classList.toggle('primary', state !== 'on');
    byId('control-mode').textContent = MODE[state];
    show(byId('control-mode'), this.#ready);
    show(byId('leave-hint'), state === 'on');
    const hadFocus = byId('pin-card').contains(document.activeElement);
    const asks = this.#ready && !this.#proving && !this.#dismissed;
    show(byId('pin-card'), asks && (state === 'locked' || state === 'denied'));
    if (hadFocus && byId('pin-card').hidden) (button.disabled ? byId('stage') : button).focus({ preventScroll: true });
  }
}

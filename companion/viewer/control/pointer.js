// Pointer and wheel on the shared screen, sent to the host.

import { imageRect, normalised, wheelPixels, wholePixels } from './geometry.js';

// Bit of PointerEvent.buttons for each button number of the host.
const BUTTON_BITS = [[0, 1], [1, 4], [2, 2]];
// Moves may be lost on their way, or be late by up to 70 ms. A message sent after this time arrives last.
const REST_MS = 100;
const NO_TRAVEL = Object.freeze({ dx: 0, dy: 0 });

export class PointerForwarder {
  #video;
  #send;
  #isActive;
  #pressed = 0;
  #last = null;
  #move = null;
  // Whether the wheel turned in this frame, and the travel that was not sent yet, down to fractions of pixels.
  #wheel = false;
  #travel = NO_TRAVEL;
  #frame = 0;
  #rest = 0;
  // Position of the host's pointer as set by the last reliable message; null while moves are in flight.
  #placed = null;

  // `element` receives the events of mouse and pen, `video` shows the screen. Fingers come by calls of TouchInput.
  // send(message, { reliable }) reaches the host.
  constructor(element, video, { send, isActive }) {
    this.#video = video;
    this.#send = send;
    this.#isActive = isActive;
    const noTouch = (handle) => (event) => event.pointerType !== 'touch' && handle(event);
    element.addEventListener('pointermove', noTouch((event) => this.#moved(event)));
    element.addEventListener('pointerdown', noTouch((event) => this.#down(event, element)));
    for (const type of ['pointerup', 'pointercancel']) {
      element.addEventListener(type, noTouch((event) => this.#up(event)));
    }
    element.addEventListener('wheel', (event) => this.#wheeled(event), { passive: false });
    element.addEventListener('contextmenu', (event) => this.#isActive() && event.preventDefault());
    // The middle button would start the browser's own scrolling.
    element.addEventListener('mousedown', (event) => this.#isActive() && event.button === 1 && event.preventDefault());
    element.addEventListener('dragstart', (event) => event.preventDefault());
  }

  // Releases every button that the host regards as down.
  releaseAll() {
    clearTimeout(this.#rest);
    this.#rest = 0;
    this.#placed = null;
    this.#move = null;
    this.#wheel = false;
    this.#travel = NO_TRAVEL;
    if (this.#pressed && this.#last) this.#buttons(0, this.#last);
    this.#pressed = 0;
  }

  // The picture has moved below a pointer that rests there, in client coordinates.
  follow(clientX, clientY) {
    this.#moved({ clientX, clientY, buttons: this.#pressed });
  }

  // The calls for fingers, in client coordinates; button as the host counts them. Outside of the image nothing is
  // pressed.
  click(clientX, clientY, button) {
    if (this.#pressed || !this.press(clientX, clientY, button)) return;
    this.release(clientX, clientY);
  }

  press(clientX, clientY, button = 0) {
    const at = this.#isActive() && this.#locate({ clientX, clientY });
    if (!at || !at.inside) return false;
    this.#buttons(BUTTON_BITS[button][1], at);
    return true;
  }

  dragTo(clientX, clientY) {
    if (this.#pressed) this.#moved({ clientX, clientY, buttons: this.#pressed });
  }

  release(clientX, clientY) {
    this.#up({ clientX, clientY, buttons: 0 });
  }

  // By pixels of the host.
  scroll(clientX, clientY, dx, dy) {
    this.#turn({ clientX, clientY }, { dx, dy });
  }

  #locate(event) {
    const rect = imageRect(this.#video.getBoundingClientRect(), this.#video.videoWidth, this.#video.videoHeight);
    return rect && normalised(rect, event.clientX, event.clientY);
  }

  #moved(event) {
    if (!this.#isActive()) return;
    const at = this.#locate(event);
    if (!at) return;
    // Further buttons of a mouse that has one down already come as moves.
    if (this.#pressed) this.#buttons(event.buttons, at);
    if (!at.inside && !this.#pressed) return;
    this.#last = at;
    this.#move = { at, timestamp: Date.now() };
    this.#schedule();
  }

  #down(event, element) {
    if (!this.#isActive()) return;
    const at = this.#locate(event);
    if (!at?.inside) return;
    // A drag that leaves the image is still a drag.
    element.setPointerCapture(event.pointerId);
    this.#buttons(event.buttons, at);
  }

  #up(event) {
    if (!this.#pressed) return;
    const at = this.#locate(event) ?? this.#last;
    if (at) this.#buttons(event.type === 'pointercancel' ? 0 : event.buttons, at);
  }

  #buttons(buttons, at) {
    // A button message says where it happened; a move still waiting would only come late.
    this.#last = at;
    for (const [button, bit] of BUTTON_BITS) {
      if ((buttons & bit) === (this.#pressed & bit)) continue;
      this.#move = null;
      const type = buttons & bit ? 'mouseDown' : 'mouseUp';
      this.#pressed ^= bit;
      this.#send({ type, x: at.x, y: at.y, button }, { reliable: true });
      this.#placedAt(at);
    }
  }

  #wheeled(event) {
    // The picture has taken it, to zoom.
    if (!this.#isActive() || event.defaultPrevented) return;
    event.preventDefault();
    this.#turn(event, wheelPixels(event, this.#video.clientWidth, this.#video.clientHeight));
  }

  #turn(event, { dx, dy }) {
    const at = this.#isActive() && this.#locate(event);
    if (!at || !at.inside) return;
    this.#travel = { dx: this.#travel.dx + dx, dy: this.#travel.dy + dy };
    this.#wheel = true;
    this.#last = at;
    this.#schedule();
  }

  // One message of a kind for each frame of the display: more would only lag behind.
  #schedule() {
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      if (!this.#isActive()) return;
      if (this.#wheel) this.#sendWheel(this.#last);
      else if (this.#move) this.#sendMove(this.#move);
      this.#move = null;
      this.#wheel = false;
    });
  }

  #sendMove({ at, timestamp }) {
    this.#send({ type: 'mouseMove', x: at.x, y: at.y, timestamp }, { reliable: false });
    this.#placed = null;
    clearTimeout(this.#rest);
    this.#rest = setTimeout(() => {
      this.#rest = 0;
      if (this.#isActive()) this.#place(this.#last);
    }, REST_MS);
  }

  // The host takes whole pixels, at the position of its pointer.
  #sendWheel(at) {
    const { whole, rest } = wholePixels(this.#travel);
    this.#travel = rest;
    if (this.#placed?.x !== at.x || this.#placed?.y !== at.y) this.#place(at);
    if (whole.dx || whole.dy) this.#send({ type: 'wheel', ...whole }, { reliable: true });
  }

  #place(at) {
    this.#send({ type: 'mouseMove', x: at.x, y: at.y, timestamp: Date.now() }, { reliable: true });
    this.#placedAt(at);
  }

  // A reliable message has put the host's pointer there; moves still in flight may put it elsewhere.
  #placedAt(at) {
    if (!this.#rest) this.#placed = at;
  }
}

// Pointer and wheel on the shared screen, sent to the host.

import { normalised, pictureRect, wheelPixels } from './geometry.js';

// Bit of PointerEvent.buttons for each button number of the host.
const BUTTON_BITS = [[0, 1], [1, 4], [2, 2]];

export class PointerForwarder {
  #video;
  #send;
  #isActive;
  #pressed = 0;
  #last = null;
  #move = null;
  #wheel = null;
  #frame = 0;

  // `element` receives the events, `video` shows the picture.
  // send(message, { reliable }) reaches the host.
  constructor(element, video, { send, isActive }) {
    this.#video = video;
    this.#send = send;
    this.#isActive = isActive;
    element.addEventListener('pointermove', (event) => this.#moved(event));
    element.addEventListener('pointerdown', (event) => this.#down(event, element));
    for (const type of ['pointerup', 'pointercancel']) element.addEventListener(type, (event) => this.#up(event));
    element.addEventListener('wheel', (event) => this.#wheeled(event), { passive: false });
    element.addEventListener('contextmenu', (event) => this.#isActive() && event.preventDefault());
    // The middle button would start the browser's own scrolling.
    element.addEventListener('mousedown', (event) => this.#isActive() && event.button === 1 && event.preventDefault());
    element.addEventListener('dragstart', (event) => event.preventDefault());
  }

  // Lets go of every button that the host believes to be down.
  releaseAll() {
    this.#move = null;
    this.#wheel = null;
    if (this.#pressed && this.#last) this.#buttons(0, this.#last);
    this.#pressed = 0;
  }

  #locate(event) {
    const rect = pictureRect(this.#video.getBoundingClientRect(), this.#video.videoWidth, this.#video.videoHeight);
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
    // A drag that leaves the picture is still a drag.
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
    }
  }

  #wheeled(event) {
    if (!this.#isActive()) return;
    event.preventDefault();
    const at = this.#locate(event);
    if (!at?.inside) return;
    const { dx, dy } = wheelPixels(event, this.#video.clientWidth, this.#video.clientHeight);
    this.#wheel ??= { dx: 0, dy: 0 };
    this.#wheel.dx += dx;
    this.#wheel.dy += dy;
    this.#schedule();
  }

  // One message of a kind for each frame of the display: more would only lag behind.
  #schedule() {
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      if (!this.#isActive()) return;
      if (this.#move) {
        const { at, timestamp } = this.#move;
        this.#send({ type: 'mouseMove', x: at.x, y: at.y, timestamp }, { reliable: false });
      }
      if (this.#wheel) this.#send({ type: 'wheel', ...this.#wheel }, { reliable: true });
      this.#move = null;
      this.#wheel = null;
    });
  }
}

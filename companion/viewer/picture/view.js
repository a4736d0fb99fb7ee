// The picture's size on the stage, and which part of it is shown.

import { wheelPixels } from '../control/geometry.js';
import { make, show } from '../shell/dom.js';
import {
  ACTUAL, FIT, MAX_SCALE, centreAround, edgeSpeed, fitScale, imageSize, isSize, limitedSize, nextSize, panned, place,
  screenSize,
} from './layout.js';

const SETTING = 'view';
const KEY_PAN = 120;
const WHEEL_ZOOM = 0.0025;
// A pointer that only crosses the edge, on its way to the tool bar, moves nothing.
const EDGE_DELAY_MS = 150;
const MAX_FRAME_MS = 50;
const SAVE_AFTER_MS = 300;
const MIDDLE = Object.freeze({ x: 0.5, y: 0.5 });

export class PictureView {
  #app;
  #stage;
  #video;
  #size;
  #centre = MIDDLE;
  #screen = null;
  #rect = null;
  #bars = ['x', 'y'].map((axis) => make('div', `scroll-mark ${axis}`));
  // The pointer near the edge: {x, y} in the window, and since when.
  #edge = null;
  #frame = 0;
  #drag = null;
  #saving = 0;
  // Whether a Ctrl key is down: pinching on a touch pad is reported as a wheel with Ctrl that is not.
  #ctrl = false;
  // Called with the pointer's client position when the picture has moved below it.
  onMoved = () => {};

  constructor(app, stage, video) {
    this.#app = app;
    this.#stage = stage;
    this.#video = video;
    this.#size = app.settings.get(SETTING, FIT, isSize);
    stage.append(...this.#bars);
    app.on('message', (message) => message.type === 'host_stats' && this.#state(message));
    app.on('replaced', () => (this.#screen = null));
    video.addEventListener('resize', () => this.update());
    video.addEventListener('loadedmetadata', () => this.update());
    new ResizeObserver(() => this.update()).observe(stage);
    window.addEventListener('resize', () => this.update());
    for (const type of ['keydown', 'keyup', 'blur']) {
      window.addEventListener(type, (event) => (this.#ctrl = event.ctrlKey === true), { capture: true });
    }
    this.#listen();
  }

  // 'fit', or the scale: device pixels for one pixel of the host.
  get size() {
    return this.#size;
  }

  // The scale that is shown, or null before there is a picture.
  get scale() {
    const image = this.#image();
    if (!image) return null;
    return this.#size === FIT ? fitScale(this.#box(), image, devicePixelRatio) : this.#size;
  }

  // Whether a part of the picture is outside of the stage.
  get isCut() {
    const box = this.#box();
    return Boolean(this.#rect) && (this.#rect.width > box.width + 0.5 || this.#rect.height > box.height + 0.5);
  }

  setSize(size) {
    clearTimeout(this.#saving);
    this.#app.settings.set(SETTING, size);
    this.#apply(size);
  }

  // To the next larger (1) or smaller (-1) size.
  step(direction) {
    const image = this.#image();
    if (image) this.setSize(nextSize(this.scale, fitScale(this.#box(), image, devicePixelRatio), direction));
  }

  // By a factor, around a place in the window.
  zoomBy(factor, clientX, clientY) {
    const image = this.#image();
    if (!image || !this.#rect) return;
    const box = this.#box();
    const scale = this.scale;
    const fit = fitScale(box, image, devicePixelRatio);
    // Growing slowly from fit must not be held back by its nearness.
    const size = factor > 1 ? Math.min(scale * factor, MAX_SCALE) : limitedSize(scale * factor, fit);
    const change = (size === FIT ? fit : size) / scale;
    this.#centre = centreAround(box, this.#rect, change, clientX - box.left, clientY - box.top);
    this.#apply(size);
    clearTimeout(this.#saving);
    this.#saving = setTimeout(() => this.#app.settings.set(SETTING, size), SAVE_AFTER_MS);
  }

  // Between the whole picture and its own size, around a place in the window.
  toggle(clientX, clientY) {
    if (this.#size !== FIT || !this.scale) this.setSize(FIT);
    else this.zoomBy(this.scale < ACTUAL * 0.9 ? ACTUAL / this.scale : 2, clientX, clientY);
  }

  // Moves the picture; returns the travel that it could not move.
  panBy(dx, dy) {
    if (!this.#rect || this.#size === FIT) return { dx, dy };
    const { centre, rest } = panned(this.#box(), this.#rect, this.#centre, dx, dy);
    this.#centre = centre;
    this.update();
    return rest;
  }

  // By a step of the keyboard.
  pan(x, y) {
    this.panBy(-x * KEY_PAN, -y * KEY_PAN);
  }

  update() {
    const image = this.#image();
    const { style } = this.#video;
    this.#rect = image && place(this.#box(), image, devicePixelRatio, this.#size, this.#centre);
    const fits = this.#size === FIT || !this.#rect;
    for (const side of ['left', 'top', 'width', 'height']) style[side] = fits ? '' : `${this.#rect[side]}px`;
    const isWhole = Number.isInteger(this.#size) && this.#video.videoWidth === image?.width;
    style.imageRendering = isWhole ? 'pixelated' : '';
    this.#stage.classList.toggle('sized', !fits);
    this.#stage.classList.toggle('cut', this.isCut);
    this.#showBars();
  }

  #apply(size) {
    this.#size = size;
    if (size === FIT) this.#centre = MIDDLE;
    this.update();
  }

  #state(stats) {
    const screen = screenSize(stats, this.#screen);
    if (screen?.width === this.#screen?.width && screen?.height === this.#screen?.height) return;
    this.#screen = screen;
    this.update();
  }

  #box() {
    return this.#stage.getBoundingClientRect();
  }

  #image() {
    return imageSize({ width: this.#video.videoWidth, height: this.#video.videoHeight }, this.#screen);
  }

  #showBars() {
    const box = this.#box();
    for (const [bar, side, length] of [[this.#bars[0], 'left', 'width'], [this.#bars[1], 'top', 'height']]) {
      const part = this.#rect ? box[length] / this.#rect[length] : 1;
      show(bar, part < 0.999 && this.#size !== FIT);
      bar.style[side] = `${(-(this.#rect?.[side] ?? 0) / (this.#rect?.[length] ?? 1)) * 100}%`;
      bar.style[length] = `${part * 100}%`;
    }
  }

  #listen() {
    const stage = this.#stage;
    const isMouse = (event) => event.pointerType !== 'touch';
    stage.addEventListener('pointermove', (event) => {
      if (!isMouse(event)) return;
      if (this.#drag) {
        this.panBy(event.clientX - this.#drag.x, event.clientY - this.#drag.y);
        this.#drag = { x: event.clientX, y: event.clientY };
      } else {
        this.#nearEdge(event);
      }
    });
    stage.addEventListener('pointerleave', () => (this.#edge = null));
    stage.addEventListener('pointerdown', (event) => {
      if (!isMouse(event) || this.#app.control.active || !this.isCut || event.button > 1) return;
      event.preventDefault();
      stage.setPointerCapture(event.pointerId);
      this.#drag = { x: event.clientX, y: event.clientY };
      stage.classList.add('dragging');
    });
    for (const type of ['pointerup', 'pointercancel']) {
      stage.addEventListener(type, () => {
        this.#drag = null;
        stage.classList.remove('dragging');
      });
    }
    // Before the host's wheel.
    stage.addEventListener('wheel', (event) => this.#wheeled(event), { passive: false, capture: true });
  }

  #wheeled(event) {
    const { active } = this.#app.control;
    const isPinch = event.ctrlKey && !this.#ctrl;
    if (isPinch || (event.ctrlKey && !active)) {
      event.preventDefault();
      const { dy } = wheelPixels(event, innerWidth, innerHeight);
      this.zoomBy(Math.exp(-dy * WHEEL_ZOOM * (isPinch ? 4 : 1)), event.clientX, event.clientY);
    } else if (!active && this.isCut) {
      event.preventDefault();
      const { dx, dy } = wheelPixels(event, innerWidth, innerHeight);
      this.panBy(-dx, -dy);
    }
  }

  // In control the mouse cannot drag the picture: it moves while the pointer is near an edge.
  #nearEdge({ clientX, clientY }) {
    const box = this.#box();
    const speed = { x: edgeSpeed(clientX - box.left, box.width), y: edgeSpeed(clientY - box.top, box.height) };
    if (!this.#app.control.active || !this.isCut || !(speed.x || speed.y)) {
      this.#edge = null;
      return;
    }
    this.#edge = { clientX, clientY, speed, since: this.#edge?.since ?? performance.now() };
    this.#frame ||= requestAnimationFrame((now) => this.#follow(now, now));
  }

  #follow(now, before) {
    this.#frame = 0;
    const edge = this.#edge;
    if (!edge || !this.#app.control.active) return;
    if (now - edge.since > EDGE_DELAY_MS) {
      const seconds = Math.min(now - before, MAX_FRAME_MS) / 1000;
      const [dx, dy] = [edge.speed.x * seconds, edge.speed.y * seconds];
      const rest = this.panBy(dx, dy);
      if (rest.dx !== dx || rest.dy !== dy) this.onMoved(edge.clientX, edge.clientY);
      else if (dx || dy) return;
    }
    this.#frame = requestAnimationFrame((next) => this.#follow(next, now));
  }
}

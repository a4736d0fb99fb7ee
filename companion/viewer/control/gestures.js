// What fingers on a touch screen mean. A state machine over their events, without a document.

// How far a finger moves, in CSS pixels, before it no longer rests.
const SLOP = 10;
// A finger that moves sooner than this after it came down may still be joined by a second one.
const DRAG_AFTER_MS = 70;
// A ring appears, and later the press counts as long.
const RING_MS = 200;
const LONG_MS = 550;
// Taps that belong together: the second one is placed where the first was.
const DOUBLE_MS = 400;
const DOUBLE_SLOP = 30;
const TAP_MS = 350;
// By this much of their distance two fingers have to part or close before they zoom.
const PINCH = 0.12;

// The calls, all in the client coordinates that came in:
//   tap({x, y, fingers, count})  count: 1, or 2 for the second tap of a double tap
//   ring({x, y, closed} or null) a finger rests; once `closed`, it is a long press
//   longPress({x, y})            it was lifted after a long press
//   dragStart({x, y}), drag({x, y}), dragEnd({x, y})
//   scroll({x, y, dx, dy})       two fingers moved together, by this much; x and y: between them
//   pinch({x, y, dx, dy, factor}) they moved and parted; factor: of the distance since the last call
export class Gestures {
  #on;
  #fingers = new Map();
  // "idle", "one" (undecided), "long", "drag", "two" (undecided), "scroll", "pinch", "over" (until all are lifted)
  #state = 'idle';
  #start = null;
  #most = 0;
  #pair = null;
  #lastTap = null;
  #timer = 0;

  constructor(on) {
    this.#on = on;
  }

  // A finger comes down; `at` is in milliseconds.
  down(id, x, y, at) {
    this.#fingers.set(id, { x, y, startX: x, startY: y });
    if (this.#fingers.size === 1) {
      this.#state = 'one';
      this.#start = { x, y, at };
      this.#most = 1;
      this.#timer = setTimeout(() => this.#rest(), RING_MS);
      return;
    }
    this.#most = Math.max(this.#most, this.#fingers.size);
    this.#endRing();
    if (this.#state === 'drag') this.#endDrag();
    else if (this.#state === 'one') this.#beginPair();
    else if (this.#state === 'long') this.#state = 'over';
    else if (this.#state === 'two' && this.#fingers.size > 2) this.#pair = null;
  }

  move(id, x, y, at) {
    const finger = this.#fingers.get(id);
    if (!finger) return;
    Object.assign(finger, { x, y });
    const far = Math.hypot(x - finger.startX, y - finger.startY) > SLOP;
    switch (this.#state) {
      case 'one':
        if (far) this.#mayDrag(at);
        break;
      case 'long':
        if (!far) return;
        this.#endRing();
        this.#state = 'over';
        break;
      case 'drag':
        this.#on.drag({ x, y });
        break;
      case 'two':
      case 'scroll':
      case 'pinch':
        this.#movePair();
        break;
      default:
        break;
    }
  }

  up(id, x, y, at) {
    if (!this.#fingers.delete(id)) return;
    const { x: startX, y: startY } = this.#start;
    if (this.#state === 'one' && Math.hypot(x - startX, y - startY) > SLOP) this.#beginDrag({ x, y });
    this.#endRing();
    const state = this.#state;
    if (this.#fingers.size > 0) {
      if (state === 'scroll' || state === 'pinch') this.#state = 'over';
      return;
    }
    this.#state = 'idle';
    const isShort = at - this.#start.at < TAP_MS;
    // On a busy page the timer may be earlier than an event that came before it.
    if (state === 'one' || (state === 'long' && at - this.#start.at < LONG_MS)) this.#tap(1, at);
    else if (state === 'two' && isShort) this.#tap(this.#most, at);
    else if (state === 'long') this.#on.longPress({ x: this.#start.x, y: this.#start.y });
    else if (state === 'drag') this.#on.dragEnd({ x, y });
  }

  // The system has taken the fingers away, or the page has.
  cancel() {
    this.#endRing();
    if (this.#state === 'drag') this.#endDrag();
    this.#fingers.clear();
    this.#state = 'idle';
  }

  #rest() {
    if (this.#state !== 'one') return;
    const { x, y } = this.#start;
    this.#on.ring({ x, y, closed: false });
    this.#timer = setTimeout(() => {
      this.#state = 'long';
      this.#on.ring({ x, y, closed: true });
    }, LONG_MS - RING_MS);
  }

  // The finger has moved too far for a tap; a second one may still come.
  #mayDrag(at) {
    const wait = DRAG_AFTER_MS - (at - this.#start.at);
    const [finger] = this.#fingers.values();
    this.#endRing();
    if (wait <= 0) this.#beginDrag(finger);
    else this.#timer = setTimeout(() => this.#state === 'one' && this.#beginDrag(finger), wait);
  }

  #beginDrag({ x, y }) {
    this.#state = 'drag';
    this.#on.dragStart({ x: this.#start.x, y: this.#start.y });
    this.#on.drag({ x, y });
  }

  #endRing() {
    clearTimeout(this.#timer);
    this.#on.ring(null);
  }

  // Ends where the first finger is.
  #endDrag() {
    const [finger] = this.#fingers.values();
    this.#state = 'over';
    this.#on.dragEnd({ x: finger.x, y: finger.y });
  }

  #tap(fingers, at) {
    const { x, y } = this.#start;
    const last = this.#lastTap;
    const isNear = last && at - last.at < DOUBLE_MS && Math.hypot(x - last.x, y - last.y) < DOUBLE_SLOP;
    const isSecond = fingers === 1 && isNear;
    this.#lastTap = fingers === 1 && !isSecond ? { x, y, at } : null;
    if (isSecond) this.#on.tap({ x: last.x, y: last.y, fingers, count: 2 });
    else this.#on.tap({ x, y, fingers, count: 1 });
  }

  #measure() {
    const [a, b] = this.#fingers.values();
    return { x: (a.x + b.x) / 2, y: (a.y + b.y) / 2, distance: Math.max(Math.hypot(a.x - b.x, a.y - b.y), 1) };
  }

  #beginPair() {
    this.#state = 'two';
    this.#pair = this.#measure();
  }

  #movePair() {
    if (!this.#pair || this.#fingers.size !== 2) return;
    const now = this.#measure();
    const before = this.#pair;
    const factor = now.distance / before.distance;
    const travel = { x: now.x, y: now.y, dx: now.x - before.x, dy: now.y - before.y };
    if (this.#state === 'two') {
      if (Math.abs(factor - 1) > PINCH && Math.abs(now.distance - before.distance) > SLOP) this.#state = 'pinch';
      else if (Math.hypot(travel.dx, travel.dy) > SLOP) this.#state = 'scroll';
      else return;
    }
    this.#pair = now;
    if (this.#state === 'pinch') this.#on.pinch({ ...travel, factor });
    else this.#on.scroll(travel);
  }
}

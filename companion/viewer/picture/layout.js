// Where the picture is on the stage, by the size that the viewer wants. Pure functions, in CSS pixels unless said
// otherwise.

// A size is 'fit' or a scale: device pixels of this screen for one pixel of the host.
export const FIT = 'fit';
export const ACTUAL = 1;
const STEPS = [0.25, 0.33, 0.5, 0.67, 0.75, 1, 1.25, 1.5, 2, 3, 4, 6, 8];
export const MAX_SCALE = 8;
// Closer to fit than this is fit.
const NEAR_FIT = 0.02;

export const isSize = (value) => value === FIT || (typeof value === 'number' && value > 0 && value <= MAX_SCALE);

// The scale at which the whole picture is just visible.
export function fitScale(stage, image, ratio) {
  return Math.min(stage.width / image.width, stage.height / image.height) * ratio;
}

// The rectangle of the picture, relative to the stage. `stage`: {left, top, width, height} in the window; `image`:
// {width, height} in pixels of the host; `ratio`: device pixels per CSS pixel; `centre`: the place of the picture, as
// fractions, that the middle of the stage shows if there is a picture all around it.
export function place(stage, image, ratio, size, centre) {
  const scale = size === FIT ? fitScale(stage, image, ratio) : size;
  const along = (start, room, pixels, at) => {
    const length = (pixels * scale) / ratio;
    const free = room - length;
    const offset = free >= 0 ? free / 2 : Math.min(Math.max(room / 2 - at * length, free), 0);
    // On whole device pixels, so that nothing is blurred.
    return { length, offset: size === FIT ? offset : Math.round((start + offset) * ratio) / ratio - start };
  };
  const x = along(stage.left, stage.width, image.width, centre.x);
  const y = along(stage.top, stage.height, image.height, centre.y);
  return { left: x.offset, top: y.offset, width: x.length, height: y.length };
}

// The centre after the picture was moved, and what of the travel it could not move: {centre, rest: {dx, dy}}.
export function panned(stage, rect, centre, dx, dy) {
  const along = (room, length, at, by) => {
    if (length <= room) return { at, rest: by };
    // The middle of the stage stays half a stage away from the picture's edges.
    const edge = room / 2 / length;
    const from = Math.min(Math.max(at, edge), 1 - edge);
    const to = Math.min(Math.max(from - by / length, edge), 1 - edge);
    return { at: to, rest: by - (from - to) * length };
  };
  const x = along(stage.width, rect.width, centre.x, dx);
  const y = along(stage.height, rect.height, centre.y, dy);
  return { centre: { x: x.at, y: y.at }, rest: { dx: tidy(x.rest), dy: tidy(y.rest) } };
}

// Without the rest that sums of fractions leave.
const tidy = (value) => Math.round(value * 1000) / 1000 + 0;

// The centre with which the place of the picture at (x, y) of the stage stays there when its size changes by `factor`.
export function centreAround(stage, rect, factor, x, y) {
  const along = (room, start, length, at) => {
    const fraction = (at - start) / length;
    return fraction + (room / 2 - at) / (length * factor);
  };
  return { x: along(stage.width, rect.left, rect.width, x), y: along(stage.height, rect.top, rect.height, y) };
}

// A scale within the limits, or 'fit' when it is the same.
export function limitedSize(scale, fit) {
  if (Math.abs(scale / fit - 1) <= NEAR_FIT) return FIT;
  const smallest = Math.min(fit, ACTUAL);
  if (scale < smallest) return smallest === fit ? FIT : smallest;
  return Math.min(scale, MAX_SCALE);
}

// The next size in a direction, 1 or -1.
export function nextSize(scale, fit, direction) {
  const clear = (step) => (direction > 0 ? step > scale * (1 + NEAR_FIT) : step < scale * (1 - NEAR_FIT));
  const steps = [...STEPS, fit].filter(clear).sort((a, b) => a - b);
  const next = direction > 0 ? steps[0] : steps.at(-1);
  return limitedSize(next ?? scale, fit);
}

// How fast the picture moves, in pixels per second along one axis, with the pointer at `at` of `room`.
const EDGE = 36;
const EDGE_SPEED = 1100;
export function edgeSpeed(at, room) {
  if (at < EDGE) return ((EDGE - Math.max(at, 0)) / EDGE) * EDGE_SPEED;
  if (at > room - EDGE) return -((at - Math.max(room - EDGE, 0)) / EDGE) * EDGE_SPEED;
  return 0;
}

const isLength = (value) => Number.isInteger(value) && value > 0 && value <= 16384;
const isAlike = (a, b) => Math.abs((a.width * b.height) / (a.height * b.width) - 1) < 0.01;

// The size of the host's screen after "host_stats", {width, height, display, exact}; `known`: the one before, or null.
// Frames may be smaller or larger than the screen: what "native" once was is exact, and holds for the display as long
// as its proportions do.
export function screenSize({ preset, width, height, displayIndex: display }, known) {
  if (!isLength(width) || !isLength(height)) return known;
  const now = { width, height, display, exact: preset === 'native' };
  const holds = known?.exact && !now.exact && known.display === display && isAlike(known, now);
  return holds ? known : now;
}

// The size of the picture: that of the screen, or the video's own while that has other proportions (a display was just
// exchanged). The video itself may be smaller for a while when the connection is slow.
export function imageSize(video, screen) {
  if (!(video.width > 0 && video.height > 0)) return null;
  if (!screen || !isAlike(screen, video) || (!screen.exact && screen.width < video.width)) return video;
  return { width: screen.width, height: screen.height };
}

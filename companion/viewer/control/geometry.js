// Where the video image is, and where in it a point lies. Pure functions.

// The rectangle that an image of `width` x `height` fills inside `box` under object-fit: contain; null while the
// image's size is not known.
export function imageRect(box, width, height) {
  if (!(width > 0 && height > 0 && box.width > 0 && box.height > 0)) return null;
  const scale = Math.min(box.width / width, box.height / height);
  const shown = { width: width * scale, height: height * scale };
  return {
    left: box.left + (box.width - shown.width) / 2,
    top: box.top + (box.height - shown.height) / 2,
    ...shown,
  };
}

// The point as fractions of the image, clamped to [0, 1]; `inside`: whether it lies in the image.
export function normalised(rect, clientX, clientY) {
  const x = (clientX - rect.left) / rect.width;
  const y = (clientY - rect.top) / rect.height;
  const clamp = (value) => Math.min(Math.max(value, 0), 1);
  return { x: clamp(x), y: clamp(y), inside: x >= 0 && x <= 1 && y >= 0 && y <= 1 };
}

// Travel split into the whole pixels of it and what is left over.
export function wholePixels({ dx, dy }) {
  // Adding 0 keeps a negative zero from showing.
  const whole = { dx: Math.trunc(dx) + 0, dy: Math.trunc(dy) + 0 };
  return { whole, rest: { dx: dx - whole.dx, dy: dy - whole.dy } };
}

const PIXELS_PER_LINE = 40;

// Wheel travel in pixels, whatever unit the browser counts in. The travel is read before the mode: Firefox counts in
// lines for pages that do otherwise, and how many of them a step has depends on the system.
export function wheelPixels({ deltaX, deltaY, deltaMode }, pageWidth, pageHeight) {
  if (deltaMode === 1) return { dx: deltaX * PIXELS_PER_LINE, dy: deltaY * PIXELS_PER_LINE };
  if (deltaMode === 2) return { dx: deltaX * pageWidth, dy: deltaY * pageHeight };
  return { dx: deltaX, dy: deltaY };
}

// Figures as people read them.

import { rateText } from '../../picture/figures.js';

const BYTE_UNITS = ['bytes', 'kB', 'MB', 'GB', 'TB'];

export { rateText };

// At most three digits and a unit, in powers of 1000: "12.3 MB".
export function bytesText(bytes) {
  let value = bytes;
  let unit = 0;
  while (value >= 999.5 && unit < BYTE_UNITS.length - 1) {
    value /= 1000;
    unit += 1;
  }
  return `${unit === 0 || value >= 99.95 ? Math.round(value) : value.toFixed(1)} ${BYTE_UNITS[unit]}`;
}

export function percentText(value) {
  return `${value < 9.95 && value > 0 ? value.toFixed(1) : Math.round(value)} %`;
}

export function millisecondsText(value) {
  return `${value < 9.95 ? value.toFixed(1) : Math.round(value)} ms`;
}

// "1:02:03", "02:03".
export function durationText(seconds) {
  const whole = Math.max(0, Math.floor(seconds));
  const two = (value) => String(value).padStart(2, '0');
  const rest = `${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
  return whole >= 3600 ? `${Math.floor(whole / 3600)}:${rest}` : rest;
}

// The end of a scale that holds `value`: 1, 2 or 5 times a power of ten, at least `least`.
export function scaleEnd(value, least) {
  if (!(value > least)) return least;
  const power = 10 ** Math.floor(Math.log10(value));
  return [1, 2, 5, 10].map((step) => step * power).find((end) => end >= value * 0.999999);
}

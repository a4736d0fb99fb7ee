// What a recording is written as, and what its file is called. Pure.

// The best first. VP9 takes less of the processor than VP8 in Chromium, and plays in more programs than AV1. Only WebM:
// its pictures may change their size within a file.
const TYPES = ['video/webm;codecs=vp9', 'video/webm;codecs=vp8', 'video/webm'];

// The first type that `isSupported` accepts; empty when the browser cannot record.
export function recordingType(isSupported) {
  return TYPES.find((type) => isSupported(type)) ?? '';
}

// Bits a second for a picture of this size: small text stays readable while a page scrolls.
export function recordingRate(width, height) {
  const bits = width * height * 30 * 0.08;
  return Math.round(Math.min(12e6, Math.max(1.5e6, bits)));
}

// "Workshop 2026-11-22 17.05.webm"; nothing that a file system refuses.
export function recordingName(host, at) {
  const two = (value) => String(value).padStart(2, '0');
  const day = `${at.getFullYear()}-${two(at.getMonth() + 1)}-${two(at.getDate())}`;
  const clean = host.replace(/[\p{C}\\/:*?"<>|]+/gu, ' ').replace(/\s+/g, ' ').replace(/^[ .]+|[ .]+$/g, '').slice(0, 60).trim();
  return `${clean || 'Recording'} ${day} ${two(at.getHours())}.${two(at.getMinutes())}.webm`;
}

// Compares the video in a page with the screen.
import { run } from '../../../tests/e2e/lib/child.mjs';

/// Brightness of every pixel of the frame that the page shows, row by row.
export async function shownLuma(page) {
  const text = await page.evaluate(() => {
    const video = document.getElementById('video');
    const canvas = new OffscreenCanvas(video.videoWidth, video.videoHeight);
    const context = canvas.getContext('2d', { willReadFrequently: true });
    context.drawImage(video, 0, 0);
    const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
    let luma = '';
    for (let i = 0; i < data.length; i += 4) {
      luma += String.fromCharCode(Math.round(0.299 * data[i] + 0.587 * data[i + 1] + 0.114 * data[i + 2]));
    }
    return btoa(luma);
  });
  return Buffer.from(text, 'base64');
}

/// The same for the X server's screen.
export async function trueLuma(screen) {
  const rgb = await run('import', ['-window', 'root', '-depth', '8', 'rgb:-'],
    { encoding: 'buffer', env: { ...process.env, ...screen.env } });
  const luma = Buffer.alloc(rgb.length / 3);
  for (let i = 0; i < luma.length; i++) luma[i] = Math.round(0.299 * rgb[3 * i] + 0.587 * rgb[3 * i + 1] + 0.114 * rgb[3 * i + 2]);
  return luma;
}

/// Peak signal-to-noise ratio of two brightness images of the same size in dB, 99 for equal ones.
export function psnr(a, b) {
  if (a.length !== b.length) throw new Error(`images of ${a.length} and ${b.length} pixels`);
  let sum = 0;
  for (let i = 0; i < a.length; i++) sum += (a[i] - b[i]) ** 2;
  return sum === 0 ? 99 : 10 * Math.log10((255 * 255 * a.length) / sum);
}


// Files sent from the page to the host, and their expected content.
import { open } from 'node:fs/promises';

const piece = 64 * 1024;

/// The bytes of piece `index` of a test file: no two pieces are the same, and no byte reveals its position.
function pieceBytes(index, length) {
  const words = new Uint32Array(piece / 4);
  let state = (index * 2654435761 + 12345) >>> 0 || 1;
  for (let i = 0; i < words.length; i++) {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    words[i] = state >>> 0;
  }
  return new Uint8Array(words.buffer, 0, length);
}

/// Sends a test file of `size` bytes in binary pieces, never letting more than `ahead` bytes wait in the browser.
/// Resolves to {saved, seconds, gaps}: the host's "file_saved", the time from the first piece to it, and the
/// milliseconds between frames shown meanwhile.
export function sendFile(page, { id = '1', name, size, ahead = 4 << 20 }) {
  return page.evaluate(`(${async (options, pieceBytes) => {
    const { id, name, size, ahead, piece } = options;
    const channel = bare.channels.control_reliable;
    const next = (type) => new Promise((resolve, reject) => {
      const listen = ({ data }) => {
        const message = JSON.parse(data);
        if (message.id !== id || !message.type.startsWith('file_')) return;
        channel.removeEventListener('message', listen);
        if (message.type === type) resolve(message);
        else reject(new Error(JSON.stringify(message)));
      };
      channel.addEventListener('message', listen);
    });
    const ready = next('file_ready');
    bare.send({ type: 'file_start', id, name, size });
    await ready;
    const gaps = [];
    let watching = true;
    let last = performance.now();
    const onFrame = () => {
      if (!watching) return;
      const now = performance.now();
      gaps.push(now - last);
      last = now;
      document.getElementById('video').requestVideoFrameCallback(onFrame);
    };
    document.getElementById('video').requestVideoFrameCallback(onFrame);
    channel.bufferedAmountLowThreshold = ahead / 2;
    const start = performance.now();
    const saved = next('file_saved');
    for (let sent = 0, index = 0; sent < size; index++) {
      if (channel.bufferedAmount > ahead) {
        await new Promise((resolve) => (channel.onbufferedamountlow = resolve));
      }
      const length = Math.min(piece, size - sent);
      channel.send(pieceBytes(index, length));
      sent += length;
    }
    bare.send({ type: 'file_end', id });
    const message = await saved;
    watching = false;
    return { saved: message, seconds: (performance.now() - start) / 1000, gaps };
  }})(${JSON.stringify({ id, name, size, ahead, piece })}, (() => { const piece = ${piece}; return ${pieceBytes}; })())`);
}

/// The first byte at which the file at `path` differs from the test file of `size` bytes; null when it does not.
export async function firstDifference(path, size) {
  const file = await open(path);
  try {
    if ((await file.stat()).size !== size) return { size: (await file.stat()).size };
    const buffer = Buffer.alloc(piece);
    for (let at = 0, index = 0; at < size; at += piece, index++) {
      const length = Math.min(piece, size - at);
      await file.read(buffer, 0, length, at);
      if (buffer.compare(pieceBytes(index, length), 0, length, 0, length) !== 0) return { at };
    }
    return null;
  } finally {
    await file.close();
  }
}

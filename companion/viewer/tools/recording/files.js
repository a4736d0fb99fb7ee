// Where a recording is written to. Each has append(bytes), finish(start): the file is complete once start, if any, has
// replaced its first bytes; and discard(). They fail with the browser's own errors.

// A file that the viewer chose: written while the recording runs.
export class DiskFile {
  #handle;
  #stream = null;

  static async open(handle) {
    const file = new DiskFile(handle);
    file.#stream = await handle.createWritable();
    return file;
  }

  constructor(handle) {
    this.#handle = handle;
    this.name = handle.name;
  }

  get limit() {
    return Infinity;
  }

  append(bytes) {
    return this.#stream.write(bytes);
  }

  async finish(start) {
    if (start) await this.#stream.write({ type: 'write', position: 0, data: start });
    await this.#stream.close();
    return null;
  }

  // The file was created empty when it was chosen.
  async discard() {
    await this.#stream?.abort().catch(() => {});
    const { size } = await this.#handle.getFile();
    if (size === 0) await this.#handle.remove?.();
  }
}

// Kept by the browser until it is saved at the end, for browsers that let no page write a file.
export const MAX_KEPT_BYTES = 1e9;

export class KeptFile {
  // Pieces: the browser may put them on its own disk.
  #pieces = [];
  #type;

  constructor(name, type) {
    this.name = name;
    this.#type = type;
  }

  get limit() {
    return MAX_KEPT_BYTES;
  }

  async append(bytes) {
    this.#pieces.push(new Blob([bytes]));
  }

  // Resolves to the file.
  async finish(start) {
    const all = new Blob(this.#pieces);
    const type = this.#type.split(';')[0];
    const file = start ? new Blob([start, all.slice(start.length)], { type }) : new Blob([all], { type });
    this.#pieces = [];
    return file;
  }

  async discard() {
    this.#pieces = [];
  }
}

// Offers `file` to the viewer as a download.
export function save(file, name) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(file);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

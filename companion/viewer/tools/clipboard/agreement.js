// What the two clipboards are known to hold, and which text is the newer one. Pure.

export class Agreement {
  // The viewer's and the host's text as last seen; null when unknown.
  #mine = null;
  #theirs = null;

  // A text of the host's clipboard has come. Whether it is to be put on the viewer's: an empty one stands for anything
  // that is no text, and clears nothing.
  fromHost(text) {
    this.#theirs = text;
    return text !== '' && text !== this.#mine;
  }

  // The viewer's clipboard was seen to hold `text`. Whether that is new and is to be put on the host's: a text that was
  // there before may be older than the host's.
  fromViewer(text) {
    if (text === '' || text === this.#mine) return false;
    this.#mine = text;
    if (text === this.#theirs) return false;
    this.#theirs = text;
    return true;
  }

  // The host's text was put on the viewer's clipboard.
  written(text) {
    this.#mine = text;
  }

  // Nothing is known: another connection, or a text that did not get through.
  forget() {
    this.#mine = null;
    this.#theirs = null;
  }
}

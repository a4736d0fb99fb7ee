// Input on its way to the host, which can be held back: what is pasted has to arrive before the keys that paste it.

// More is not typed while a text is on its way.
const MAX_HELD = 1000;
// A program asks for the text after it got the key; what follows must not overtake it.
const PASTE_MS = 50;

export class InputGate {
  #send;
  // While input is held, what comes next: {message, options} or {prepare}.
  #queue = null;

  // send(message, options) reaches the host; returns whether the message was handed over.
  constructor(send) {
    this.#send = send;
  }

  // Whether the message was taken.
  send(message, options) {
    const queue = this.#queue;
    if (!queue) return this.#send(message, options);
    // Of the pointer's way only its end matters.
    if (message.type === 'mouseMove' && queue.at(-1)?.message?.type === 'mouseMove') queue.pop();
    queue.push({ message, options });
    if (queue.length >= MAX_HELD) this.#giveUp();
    return true;
  }

  // Holds back the next message, a key that pastes, and all that follow, until prepare() has resolved: to true, or to
  // false when that key must not be sent. It is called when everything before was sent.
  hold(prepare) {
    const running = this.#queue !== null;
    this.#queue ??= [];
    this.#queue.push({ prepare });
    if (!running) this.#run(this.#queue);
  }

  async #run(queue) {
    while (queue.length > 0) {
      const { message, options, prepare } = queue.shift();
      if (message) {
        this.#send(message, options);
        continue;
      }
      const wanted = await prepare().catch(() => false);
      if (this.#queue !== queue) return;
      const key = queue[0]?.message ? queue.shift() : null;
      if (key && wanted) this.#send(key.message, key.options);
      await new Promise((resolve) => setTimeout(resolve, PASTE_MS));
      if (this.#queue !== queue) return;
    }
    this.#queue = null;
  }

  #giveUp() {
    const queue = this.#queue;
    this.#queue = null;
    for (const { message, options } of queue) if (message) this.#send(message, options);
  }
}

// Input on its way to the host, which can be held back: what is pasted has to arrive before the keys that paste it.

// More is not typed while a text is on its way.
const MAX_HELD = 1000;

export class InputGate {
  #send;
  // {until, messages: [[message, options]]} while input is held.
  #held = null;

  // send(message, options) reaches the host; returns whether the message was handed over.
  constructor(send) {
    this.#send = send;
  }

  get isHolding() {
    return this.#held !== null;
  }

  // Whether the message was taken.
  send(message, options) {
    if (!this.#held) return this.#send(message, options);
    const { messages } = this.#held;
    // Of the pointer's way only its end matters.
    if (message.type === 'mouseMove' && messages.at(-1)?.[0].type === 'mouseMove') messages.pop();
    messages.push([message, options]);
    if (messages.length >= MAX_HELD) this.#release(this.#held, true);
    return true;
  }

  // Keeps all input from now on, in its order, until `until` resolves: to true, or to false when the first message of
  // it must not be sent.
  hold(until) {
    if (this.#held) return;
    const held = { messages: [] };
    this.#held = held;
    until.then((whole) => this.#release(held, whole), () => this.#release(held, false));
  }

  #release(held, whole) {
    if (this.#held !== held) return;
    this.#held = null;
    for (const [message, options] of whole ? held.messages : held.messages.slice(1)) this.#send(message, options);
  }
}

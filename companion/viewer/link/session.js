// One visit to one room: signalling, the peer connection, and its recovery.

import { Backoff } from './backoff.js';
import { PeerLink } from './connection.js';
import { Signalling } from './signalling.js';

// A host that arrives makes an offer by itself; it is asked for one only when none comes.
const ARRIVAL_GRACE_MS = 1500;
// How long an offer has to become a connection before the host is asked for another.
const NEGOTIATION_MS = 10000;
// After this many reminders without success the old connection is replaced by a new one.
const ATTEMPTS_BEFORE_NEW_CONNECTION = 2;
// When a connection is lost and the room sends nothing for this long, the connection to the room is lost as well.
const SILENCE_MS = 3000;

const NOBODY = Object.freeze({ names: Object.freeze([]), you: -1 });
// As many as the room server admits.
const MAX_PEOPLE = 16;
const MAX_NAME = 64;

export class Session {
  #signalling;
  #peer;
  #on;
  #joined = false;
  #hostPresent = false;
  #superseded = false;
  #supersededBy = '';
  #people = NOBODY;
  #peerState = 'none';
  #channelsLost = false;
  #hostGone = false;
  #serverLost = false;
  #lostReason = '';
  #backoff = new Backoff(2000, 10000);
  #reminder = 0;
  #silence = 0;
  #attempts = 0;
  #offeredAt = -Infinity;
  #state = '';

  // on.state(state, detail): "connecting", "waiting", "connected" or "disconnected"; detail is one
  // of "server", "host", "lost", "superseded", "vacant" (superseded by a viewer who has left), "left" (superseded, and
  // out of the room), "" and says why.
  // on.track(track), on.channel(channel), on.replaced(), on.message(signalling message),
  // on.people({names, you}): the viewers in the room, the last one active, and this one's place among them, or -1
  constructor(options, on) {
    this.#on = on;
    this.#peer = new PeerLink((message) => this.#signalling.send(message), {
      state: (state) => this.#peerChanged(state),
      track: on.track,
      channel: on.channel,
      offer: () => {
        this.#offeredAt = performance.now();
      },
      replaced: () => {
        on.replaced();
        this.#peerState = 'new';
        this.#channelsLost = false;
        this.#hostGone = false;
        this.#refresh();
      },
    });
    this.#signalling = new Signalling(options, {
      open: (networkWasAway) => {
        this.#lostReason = '';
        this.#serverLost = false;
        // An offer that was under way to the connection before this one is lost with it; and after a change of address the
        // browser checks the ICE session that it has only seconds later, but a new one at once.
        if (networkWasAway) this.#signalling.send({ type: 'renegotiate', iceRestart: true });
        this.#refresh();
      },
      message: (message) => this.#received(message),
      lost: (reason) => this.#signallingLost(reason),
    });
  }

  get pc() {
    return this.#peer.pc;
  }

  // The name of the viewer who took the room over, if one did.
  get supersededBy() {
    return this.#supersededBy;
  }

  get serverMessage() {
    return this.#lostReason;
  }

  start() {
    this.#signalling.start();
    this.#refresh();
  }

  // Ends the visit; the session is not used again.
  stop() {
    clearTimeout(this.#reminder);
    clearTimeout(this.#silence);
    this.#signalling.stop();
    this.#peer.close();
  }

  // The control channels have opened or closed. Their end is the first sign of a host that left.
  setChannelsOpen(open) {
    this.#channelsLost = !open;
    this.#noteDeparture();
    this.#refresh();
  }

  // Whether the signalling message went out.
  signal(message) {
    return this.#signalling.send(message);
  }

  #received(message) {
    clearTimeout(this.#silence);
    switch (message.type) {
      case 'peer_state':
        this.#people = peopleOf(message);
        this.#on.people(this.#people);
        this.#hostSeen(message.host === true);
        break;
      case 'superseded':
        this.#superseded = true;
        this.#supersededBy = shortName(message.by);
        clearTimeout(this.#reminder);
        this.#peer.close();
        this.#peerState = 'none';
        this.#on.replaced();
        // The chat goes on, but reconnecting automatically would take the room away from the other viewer again.
        this.#signalling.stay();
        this.#refresh();
        break;
      case 'offer':
      case 'ice':
        if (!this.#superseded) this.#peer.handle(message);
        break;
      default:
        this.#on.message(message);
    }
  }

  #hostSeen(present) {
    const first = !this.#joined;
    const arrived = present && !this.#hostPresent;
    this.#joined = true;
    this.#hostPresent = present;
    this.#noteDeparture();
    if (arrived && !this.#connected && !this.#superseded) this.#remindIn(first ? 0 : ARRIVAL_GRACE_MS);
    if (!present) clearTimeout(this.#reminder);
    this.#refresh();
  }

  #signallingLost(reason) {
    this.#people = NOBODY;
    this.#on.people(NOBODY);
    this.#joined = false;
    this.#hostPresent = false;
    this.#lostReason = reason;
    this.#serverLost = true;
    clearTimeout(this.#reminder);
    this.#refresh();
  }

  #peerChanged(state) {
    this.#peerState = state;
    clearTimeout(this.#silence);
    if (state === 'disconnected' || state === 'failed') this.#expectMessage();
    if (state === 'connected') {
      this.#attempts = 0;
      this.#backoff.reset();
      clearTimeout(this.#reminder);
    } else if (state === 'failed' || state === 'closed') {
      this.#remindIn(0);
    }
    this.#refresh();
  }

  #expectMessage() {
    clearTimeout(this.#silence);
    this.#silence = setTimeout(() => {
      if (this.#connected || !this.#joined) return;
      // On the new connection the host is seen as new, and asked for an offer: its offers went to the old one.
      this.#joined = false;
      this.#hostPresent = false;
      clearTimeout(this.#reminder);
      this.#signalling.renew();
      this.#refresh();
    }, SILENCE_MS);
  }

  // Asks the host for an offer after `delay`, and again with growing delays until connected.
  #remindIn(delay) {
    clearTimeout(this.#reminder);
    if (this.#superseded) return;
    this.#reminder = setTimeout(() => {
      if (!this.#hostPresent || this.#connected) return;
      const negotiating = this.#peerState === 'new' || this.#peerState === 'connecting';
      const left = this.#offeredAt + NEGOTIATION_MS - performance.now();
      if (negotiating && left > 0) {
        this.#remindIn(left);
        return;
      }
      if (++this.#attempts > ATTEMPTS_BEFORE_NEW_CONNECTION) {
        this.#peer.close();
        this.#peerState = 'none';
        this.#attempts = 1;
      }
      this.#signalling.send({ type: 'renegotiate' });
      this.#expectMessage();
      this.#remindIn(this.#backoff.next());
    }, delay);
  }

  // A host that left the room and closed its channels is gone; the transport takes seconds to report it. Either alone
  // means little: the room server may have been restarted, and a host replaces a channel that closes.
  #noteDeparture() {
    if (!this.#channelsLost) this.#hostGone = false;
    else if (this.#joined && !this.#hostPresent) this.#hostGone = true;
  }

  // The viewer that took the room over has gone, and nobody else is active.
  get #othersLeft() {
    return this.#people.you >= 0 && this.#people.you === this.#people.names.length - 1;
  }

  get #connected() {
    return this.#peerState === 'connected' && !this.#hostGone;
  }

  #refresh() {
    const [state, detail] = this.#describe();
    const described = `${state} ${detail}`;
    if (described === this.#state) return;
    this.#state = described;
    this.#on.state(state, detail);
  }

  #describe() {
    if (this.#superseded) return ['disconnected', this.#serverLost ? 'left' : this.#othersLeft ? 'vacant' : 'superseded'];
    if (this.#connected) return ['connected', ''];
    if (['connected', 'disconnected', 'failed', 'closed'].includes(this.#peerState)) {
      return this.#joined && !this.#hostPresent ? ['waiting', 'host'] : ['disconnected', 'lost'];
    }
    if (!this.#joined) return [this.#serverLost ? 'disconnected' : 'connecting', 'server'];
    return this.#hostPresent ? ['connecting', ''] : ['waiting', 'host'];
  }
}

const shortName = (name) => (typeof name === 'string' && name ? name.slice(0, MAX_NAME) : 'viewer');

// Of a "peer_state"; a server may not name the viewers.
function peopleOf({ names, you }) {
  if (!Array.isArray(names) || names.length > MAX_PEOPLE) return NOBODY;
  return { names: names.map(shortName), you: Number.isInteger(you) && you >= 0 && you < names.length ? you : -1 };
}

// The peer connection to the host: answers its offers, one after the other.

import { candidateUfrag, fingerprintOf, ufragsOf } from './sdp.js';

const MAX_WAITING_CANDIDATES = 200;

export class PeerLink {
  #send;
  #on;
  #pc = null;
  // Rejects when #pc is closed: promises of a closed connection may never settle.
  #closed = null;
  #rejectClosed = null;
  #releaseCandidates = null;
  #fingerprint = '';
  #ufrags = new Set();
  // Candidates of the host whose description has not come yet.
  #waiting = [];
  #newestOffer = 0;
  #work = Promise.resolve();

  // send(message): hands a signalling message to the host.
  // on.state(connection state), on.track(track), on.channel(data channel), on.offer(), on.replaced()
  constructor(send, on) {
    this.#send = send;
    this.#on = on;
  }

  get pc() {
    return this.#pc;
  }

  // One "offer" or "ice" of the host. Anything unusable is dropped.
  handle(message) {
    if (message.type === 'offer' && typeof message.sdp === 'string') {
      const number = ++this.#newestOffer;
      this.#enqueue(() => this.#answer(message.sdp, number));
    } else if (message.type === 'ice' && typeof message.candidate?.candidate === 'string') {
      this.#enqueue(() => this.#addCandidate(message.candidate));
    }
  }

  // Closes the connection: the next offer gets a new one, to which the host reacts with a new one of its own.
  close() {
    const pc = this.#pc;
    this.#pc = null;
    this.#fingerprint = '';
    pc?.close();
    this.#rejectClosed?.(new Error('closed'));
  }

  #enqueue(task) {
    this.#work = this.#work.then(task).catch((error) => console.warn('negotiation:', error));
  }

  async #answer(sdp, number) {
    // A superseded offer needs no answer; the host waits only for the answer to its newest.
    if (number !== this.#newestOffer) return;
    this.#on.offer();
    if (this.#needsNewPeer(sdp)) this.#replacePeer(sdp);
    const pc = this.#pc;
    try {
      await this.#negotiate(sdp, number);
    } catch (error) {
      if (pc !== this.#pc) return;
      console.warn('the offer does not fit the connection, starting afresh:', error);
      this.#replacePeer(sdp);
      await this.#negotiate(sdp, number);
    }
  }

  #needsNewPeer(sdp) {
    const pc = this.#pc;
    if (!pc || pc.signalingState === 'closed' || fingerprintOf(sdp) !== this.#fingerprint) return true;
    const dtls = pc.sctp?.transport?.state;
    if (dtls === 'closed' || dtls === 'failed') return true;
    // A failed connection recovers with new ICE credentials only.
    const sameIce = [...ufragsOf(sdp)].every((ufrag) => this.#ufrags.has(ufrag));
    return pc.connectionState === 'failed' && sameIce;
  }

  async #negotiate(sdp, number) {
    const pc = this.#pc;
    const closed = this.#closed;
    await Promise.race([pc.setRemoteDescription({ type: 'offer', sdp }), closed]);
    this.#ufrags = ufragsOf(sdp);
    await this.#flushWaiting();
    await Promise.race([pc.setLocalDescription(), closed]);
    if (pc !== this.#pc || number !== this.#newestOffer) return;
    this.#send({ type: 'answer', sdp: pc.localDescription.sdp });
    this.#releaseCandidates();
  }

  #replacePeer(sdp) {
    this.close();
    const pc = new RTCPeerConnection({ bundlePolicy: 'max-bundle' });
    this.#pc = pc;
    this.#fingerprint = fingerprintOf(sdp);
    this.#ufrags = new Set();
    this.#closed = new Promise((_, reject) => {
      this.#rejectClosed = reject;
    });
    this.#closed.catch(() => {});

    // Our candidates follow our answer, never precede it.
    let held = [];
    this.#releaseCandidates = () => {
      for (const candidate of held ?? []) this.#send({ type: 'ice', candidate });
      held = null;
    };
    pc.addEventListener('icecandidate', ({ candidate }) => {
      if (!candidate?.candidate || pc !== this.#pc) return;
      const { candidate: line, sdpMid, sdpMLineIndex } = candidate;
      const plain = { candidate: line, sdpMid, sdpMLineIndex };
      if (held) held.push(plain);
      else this.#send({ type: 'ice', candidate: plain });
    });
    pc.addEventListener('connectionstatechange', () => {
      if (pc === this.#pc) this.#on.state(pc.connectionState);
    });
    pc.addEventListener('track', ({ track, receiver }) => {
      if (pc !== this.#pc || track.kind !== 'video') return;
      showAtOnce(receiver);
      this.#on.track(track);
    });
    pc.addEventListener('datachannel', ({ channel }) => {
      if (pc === this.#pc) this.#on.channel(channel);
    });
    this.#on.replaced();
  }

  async #addCandidate(candidate) {
    const ufrag = candidateUfrag(candidate.candidate);
    const fits = this.#pc?.remoteDescription && (!ufrag || this.#ufrags.has(ufrag));
    if (!fits) {
      // A candidate may overtake the offer that it belongs to.
      this.#waiting.push(candidate);
      if (this.#waiting.length > MAX_WAITING_CANDIDATES) this.#waiting.shift();
      return;
    }
    try {
      await Promise.race([this.#pc.addIceCandidate(candidate), this.#closed]);
    } catch (error) {
      console.warn('candidate:', error);
    }
  }

  async #flushWaiting() {
    const waiting = this.#waiting;
    this.#waiting = [];
    for (const candidate of waiting) await this.#addCandidate(candidate);
  }
}

// A remote screen needs the newest frame, not smooth playback.
function showAtOnce(receiver) {
  if ('jitterBufferTarget' in receiver) receiver.jitterBufferTarget = 0;
  if ('playoutDelayHint' in receiver) receiver.playoutDelayHint = 0;
}

// Acts as the host inside a browser page: a moving image, the two control channels, offers, and replies to the control
// messages that the viewer's page depends on. All messages that it receives are kept for the test.

const PIN = '123456';

export class FakeHost {
  constructor(room, { displays = 1, allowControl = true, twoVideoSections = true } = {}) {
    this.room = room;
    this.displays = displays;
    this.allowControl = allowControl;
    this.twoVideoSections = twoVideoSections;
    this.signals = [];
    this.messages = [];
    this.peers = 0;
    this.clipboard = '';
    // Files received, each {id, name, bytes}; `fileAnswer(message)`, if set, replies in place of the host.
    this.files = [];
    this.fileAnswer = null;
    this.canvas = document.createElement('canvas');
    this.canvas.width = 640;
    this.canvas.height = 360;
    document.body.append(this.canvas);
    this.timer = setInterval(() => this.paint(), 50);
    this.stream = this.canvas.captureStream(20);
    // On a busy machine the browser sends fewer frames, not smaller ones.
    this.stream.getVideoTracks()[0].contentHint = 'detail';
    this.offering = Promise.resolve();
  }

  paint() {
    const context = this.canvas.getContext('2d');
    context.fillStyle = '#20405f';
    context.fillRect(0, 0, 640, 360);
    context.fillStyle = '#f5f7f8';
    context.fillRect(40, 60, 360, 230);
    context.fillStyle = '#1f7a8c';
    context.fillRect(40, 60, 360, 26);
    context.fillStyle = '#17212b';
    context.font = '15px sans-serif';
    context.fillText('Desktop of the host', 60, 120);
    context.fillText(new Date().toISOString(), 60, 150);
  }

  join() {
    return new Promise((resolve) => {
      this.socket = new WebSocket(`ws://${location.host}/`);
      this.socket.onopen = () => {
        this.signal({ type: 'join', room: this.room, role: 'host' });
        resolve();
      };
      this.socket.onmessage = ({ data }) => this.signalled(JSON.parse(data));
    });
  }

  signal(message) {
    if (this.socket.readyState === WebSocket.OPEN) this.socket.send(JSON.stringify(message));
  }

  buildPeer() {
    this.pc?.close();
    this.peers += 1;
    this.queue = [];
    this.viewerFingerprint = '';
    this.authed = false;
    this.enabled = false;
    const pc = new RTCPeerConnection();
    this.pc = pc;
    this.control = pc.createDataChannel('control', { ordered: false, maxPacketLifeTime: 70 });
    this.reliable = pc.createDataChannel('control_reliable');
    for (const channel of [this.control, this.reliable]) {
      channel.binaryType = 'arraybuffer';
      channel.onmessage = ({ data }) => {
        if (typeof data === 'string') this.controlled(channel, JSON.parse(data));
        else if (this.files.length > 0) this.files.at(-1).bytes += data.byteLength;
      };
    }
    this.reliable.onopen = () => {
      this.send({ type: 'display_info', count: this.displays, current: 0 });
      this.stats();
    };
    pc.addTransceiver(this.stream.getVideoTracks()[0], { direction: 'sendonly' });
    if (this.twoVideoSections) pc.addTransceiver('video', { direction: 'recvonly' });
    pc.onicecandidate = ({ candidate }) => {
      if (candidate?.candidate && pc === this.pc) this.signal({ type: 'ice', candidate: candidate.toJSON() });
    };
  }

  // One after another: of two concurrent offers the connection would keep one and the viewer the other.
  offer(options) {
    this.offering = this.offering.catch(() => {}).then(() => this.makeOffer(options));
    return this.offering;
  }

  async makeOffer(options) {
    if (!this.pc) this.buildPeer();
    const { pc } = this;
    if (this.codec) {
      const isFirst = ({ mimeType }) => mimeType.toLowerCase() === `video/${this.codec}`;
      const { codecs } = RTCRtpSender.getCapabilities('video');
      pc.getTransceivers()[0].setCodecPreferences([...codecs.filter(isFirst), ...codecs.filter((codec) => !isFirst(codec))]);
    }
    const offer = await pc.createOffer(options);
    await pc.setLocalDescription(offer);
    if (pc === this.pc) this.signal({ type: 'offer', sdp: offer.sdp });
  }

  async signalled(message) {
    this.signals.push(message);
    if (message.type === 'renegotiate') {
      await this.offer();
    } else if (message.type === 'answer' && this.pc.signalingState === 'have-local-offer') {
      const fingerprint = /a=fingerprint:(.*)/.exec(message.sdp)[1];
      if (this.viewerFingerprint && fingerprint !== this.viewerFingerprint) {
        this.buildPeer();
        await this.offer();
        return;
      }
      this.viewerFingerprint = fingerprint;
      const pc = this.pc;
      await pc.setRemoteDescription(message);
      for (const candidate of this.queue.splice(0)) await pc.addIceCandidate(candidate);
    } else if (message.type === 'ice' && this.pc) {
      if (this.pc.remoteDescription) await this.pc.addIceCandidate(message.candidate).catch(() => {});
      else this.queue.push(message.candidate);
    }
  }

  controlled(channel, message) {
    this.messages.push({ label: channel.label, message });
    if (message.type === 'ping') {
      this.send({ type: 'pong', t0: message.t0, hostNow: Date.now() });
    } else if (message.type === 'auth') {
      this.authed = message.token === PIN;
      this.send({ type: 'auth', ok: this.authed });
      this.send({ type: 'ack' });
    } else if (message.type === 'control') {
      this.enabled = message.enable === true && this.authed && this.allowControl;
      this.send({ type: 'control_state', enabled: this.enabled });
      this.send({ type: 'ack' });
    } else if (message.type.startsWith('file_')) {
      if (!this.fileAnswer?.(message)) this.receiveFile(message);
    } else if (message.type === 'clipboard_set' && !Number.isInteger(message.parts)) {
      this.clipboard = message.text;
      this.send({ type: 'ack', req: message.req });
    } else if (message.type === 'clipboard_request') {
      this.send({ type: 'clipboard_sync', text: this.clipboard });
    } else if (message.type === 'type_text' && message.id) {
      this.typed(message);
    } else if (message.type === 'codec') {
      this.codec = message.codec;
      this.offer();
    }
  }

  receiveFile({ type, id, name }) {
    if (type === 'file_start') {
      this.files.push({ id, name, bytes: 0 });
      this.send({ type: 'file_ready', id });
      if (this.savesAs) this.send({ type: 'file_renamed', id, name, savedAs: this.savesAs });
    } else if (type === 'file_end') {
      const file = this.files.find((each) => each.id === id);
      this.send({ type: 'file_saved', id, name: file.name, size: file.bytes });
    }
  }

  // The host types all of a text, or what `typesAtMost` allows.
  typed({ id, text }) {
    const { length } = [...text];
    const typed = Math.min(length, this.typesAtMost ?? length);
    this.send({ type: 'text_typed', id, typed, length, ...(typed < length ? { reason: this.typingReason } : {}) });
  }

  // A real host sends more fields, and several messages a second.
  stats(more) {
    this.send({ type: 'host_stats', hostName: 'Workshop', room: this.room, capture: 'screen', displayIndex: 0, lastCaptureNs: 1, ...more });
  }

  send(message) {
    this.reliable.send(JSON.stringify(message));
  }

  // Control messages of one type received so far, oldest first.
  received(type) {
    return this.messages.map(({ message }) => message).filter((message) => message.type === type);
  }

  leave() {
    this.pc?.close();
    this.pc = null;
    this.socket.close();
  }
}

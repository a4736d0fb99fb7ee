// A minimal viewer: it joins, answers offers and keeps what it receives. It uses nothing special, so what works with it
// works for other viewers too.
const query = new URLSearchParams(location.search);
const room = query.get('room');
const video = document.getElementById('video');
const bare = (window.bare = {
  pc: null,
  channels: {},
  /// Every channel of the host that was seen, gone ones too.
  seen: [],
  /// Control messages as {label, message, at}.
  messages: [],
  /// Signalling messages as they came.
  signals: [],
  offers: [],
  frames: 0,
  connectedAt: null,
  firstFrameAt: null,
  /// When the first answer was sent, and when the first frame had the size that the host then kept.
  answeredAt: null,
  fullSizeAt: null,
  signal: (message) => socket.send(JSON.stringify(message)),
  /// How often this page has asked for an offer.
  asked: 0,
  socketIsOpen: () => socket.readyState === WebSocket.OPEN,
  send(message, label = 'control_reliable') {
    bare.channels[label].send(JSON.stringify(message));
  },
  /// Where the connection stands, for the evidence of a test that failed.
  async state() {
    const statistics = bare.pc ? [...(await bare.pc.getStats()).values()] : [];
    return {
      signals: bare.signals.map(({ type, candidate }) => (candidate ? `${type} ${candidate.candidate}` : type)),
      offers: bare.offers.length, frames: bare.frames, signalling: bare.pc?.signalingState, ice: bare.pc?.iceConnectionState,
      gathering: bare.pc?.iceGatheringState, connection: bare.pc?.connectionState, dtls: bare.pc?.sctp?.transport?.state, sctp: bare.pc?.sctp?.state,
      channels: bare.seen.map(({ label, id, readyState }) => [label, id, readyState]),
      statistics: statistics.filter(({ type }) => ['candidate-pair', 'data-channel', 'local-candidate', 'peer-connection', 'transport'].includes(type)),
    };
  },
  sendRaw(data, label = 'control_reliable') {
    bare.channels[label].send(data);
  },
});
let fingerprint = null;
let waiting = [];

let socket = null;
let queue = Promise.resolve();
let socketCheck = 0;

let networkWasAway = false;

function openSocket() {
  const old = socket;
  const opened = new WebSocket(query.get('server'));
  socket = opened;
  old?.close();
  opened.onopen = () => {
    bare.signal({ type: 'join', room, role: 'viewer' });
    bare.signal({ type: 'renegotiate', ...(networkWasAway ? { iceRestart: true } : {}) });
    networkWasAway = false;
    bare.asked++;
  };
  opened.onmessage = ({ data }) => {
    if (opened !== socket) return;
    clearTimeout(socketCheck);
    const message = JSON.parse(data);
    bare.signals.push(message);
    // One after another: an offer is answered before the candidates after it are handled.
    queue = queue.then(() => handle(message)).catch((error) => console.error(String(error)));
  };
  opened.onclose = () => {
    if (opened === socket) setTimeout(() => opened === socket && openSocket(), 300);
  };
}
openSocket();
// The address may be another one: the connection to the room is dead then, and lets nobody know.
window.addEventListener('online', () => {
  if (!bare.socketIsOpen()) return;
  networkWasAway = true;
  openSocket();
});

function connect() {
  bare.pc?.close();
  bare.channels = {};
  waiting = [];
  const pc = (bare.pc = new RTCPeerConnection({ iceServers: [] }));
  pc.onicecandidate = ({ candidate }) => {
    if (candidate?.candidate) {
      bare.signal({ type: 'ice', candidate: { candidate: candidate.candidate, sdpMLineIndex: candidate.sdpMLineIndex,
        sdpMid: candidate.sdpMid } });
    }
  };
  pc.ontrack = ({ track, receiver }) => {
    if (track.kind !== 'video') return;
    if ('jitterBufferTarget' in receiver) receiver.jitterBufferTarget = 0;
    // The newest track with frames wins; an empty second section of the offer has a track without frames.
    if (!video.srcObject || video.srcObject.pc !== pc) {
      video.srcObject = new MediaStream([track]);
      video.srcObject.pc = pc;
    }
  };
  pc.ondatachannel = ({ channel }) => {
    bare.seen.push(channel);
    const take = () => (bare.channels[channel.label] = channel);
    if (channel.readyState === 'open') take();
    channel.onopen = take;
    channel.onmessage = ({ data }) =>
      bare.messages.push({ label: channel.label, message: JSON.parse(data), at: performance.now() });
  };
  pc.onconnectionstatechange = () => {
    if (pc !== bare.pc) return;
    document.body.dataset.connection = pc.connectionState;
    clearTimeout(socketCheck);
    // The connection is lost and the host sends nothing: the connection to the room may be dead without an event.
    if (['disconnected', 'failed'].includes(pc.connectionState)) socketCheck = setTimeout(openSocket, 3000);
    if (pc.connectionState === 'connected') bare.connectedAt = performance.now();
  };
}

async function handle(message) {
  if (message.type === 'offer') {
    bare.offers.push(message.sdp);
    const offered = message.sdp.match(/a=fingerprint:(\S+ \S+)/)[1];
    if (offered !== fingerprint) {
      fingerprint = offered;
      connect();
    }
    await bare.pc.setRemoteDescription({ type: 'offer', sdp: message.sdp });
    await bare.pc.setLocalDescription();
    bare.answeredAt ??= performance.now();
    bare.signal({ type: 'answer', sdp: bare.pc.localDescription.sdp });
    for (const candidate of waiting.splice(0)) await bare.pc.addIceCandidate(candidate);
  } else if (message.type === 'ice') {
    if (bare.pc?.remoteDescription) await bare.pc.addIceCandidate(message.candidate);
    else waiting.push(message.candidate);
  }
}

function onFrame(now, { width, height }) {
  bare.frames++;
  bare.firstFrameAt ??= now;
  if (!bare.fullSizeAt || bare.size !== `${width}x${height}`) bare.fullSizeAt = now;
  bare.size = `${width}x${height}`;
  video.requestVideoFrameCallback(onFrame);
}
video.requestVideoFrameCallback(onFrame);

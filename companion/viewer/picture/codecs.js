// Names of codecs, and what both ends can do. Pure.

// The name on the wire, and what people read.
export const CODEC_NAMES = { h264: 'H.264', av1: 'AV1', vp9: 'VP9', vp8: 'VP8' };

// The codecs of the first video section of an offer.
function codecsOfOffer(sdp) {
  const section = sdp.split(/^m=/m).find((each) => each.startsWith('video ')) ?? '';
  return [...section.matchAll(/^a=rtpmap:\d+ ([A-Za-z0-9]+)\//gm)].map(([, name]) => name.toLowerCase());
}

// The codecs that the host offers and this browser decodes, as on the wire. capabilities: of RTCRtpReceiver, or null.
export function commonCodecs(sdp, capabilities) {
  const offered = new Set(codecsOfOffer(sdp));
  const own = new Set((capabilities?.codecs ?? []).map(({ mimeType }) => mimeType.replace(/^video\//i, '').toLowerCase()));
  return Object.keys(CODEC_NAMES).filter((codec) => offered.has(codec) && own.has(codec));
}

// What the page reads from session descriptions. Pure functions.

// The DTLS fingerprint ("sha-256 AB:CD:..."), or "" when there is none. It names the peer that made
// the description: another fingerprint is another peer connection.
export function fingerprintOf(sdp) {
  const found = /^a=fingerprint:(\S+)[ \t]+(\S+)/m.exec(sdp);
  return found ? `${found[1].toLowerCase()} ${found[2].toUpperCase()}` : '';
}

// The ICE user name fragments of a description: one per bundle, usually a single one.
export function ufragsOf(sdp) {
  return new Set([...sdp.matchAll(/^a=ice-ufrag:(\S+)/gm)].map((found) => found[1]));
}

// The user name fragment that a candidate line carries, or "".
export function candidateUfrag(line) {
  const found = / ufrag (\S+)/.exec(line);
  return found ? found[1] : '';
}

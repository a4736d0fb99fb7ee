// Every form a line of the host's standard error may have. A line outside this list is noise of a library or a slip.
const rectangle = String.raw`\(-?[\d.]+, -?[\d.]+, [\d.]+, [\d.]+\)`;

export const knownLines = [
  String.raw`\[ws\] signaling url: wss?://\S+`,
  String.raw`\[ws\] (send|recv) error: .+`,
  String.raw`\[ws\] reconnect in (0\.5|1\.0|2\.0|4\.0|8\.0|10\.0)s`,
  String.raw`\[sdp\] env preferred codec=(h264|vp8|vp9|av1|auto)`,
  String.raw`\[sdp\] env h264 profile=\S+`,
  String.raw`\[sdp\] prefer codec=.*`,
  String.raw`\[sdp\] prefer H\.264 payloads: .*`,
  String.raw`\[sdp\] set preferred codec=\S+`,
  String.raw`\[sdp\] set h264 profile=\S+`,
  String.raw`\[sdp\] answer when state=\S+ → renegotiate`,
  String.raw`\[sdp\] answer of another viewer → rebuilding peer`,
  String.raw`\[dc\] created label=control \(unordered,maxPacketLifeTime=70ms\)`,
  String.raw`\[dc\] created label=control_reliable \(reliable\)`,
  String.raw`\[dc\] failed to create datachannel control(_reliable)?`,
  String.raw`\[dc\] state=[0-3] label=control(_reliable)?`,
  String.raw`\[ice\] restartIce invoked`,
  String.raw`\[ice\] restartIce not available → rebuilding peer`,
  String.raw`ICE state: (new \(0\)|checking \(1\)|connected \(2\)|completed \(3\)|failed \(4\)|disconnected \(5\)|closed \(6\))`,
  String.raw`\[sc\] start error: .+`,
  String.raw`\[sc\] Required permissions in System Settings → Privacy & Security:`,
  String.raw`\[sc\] - Screen Recording \(for video capture\)`,
  String.raw`\[sc\] no display found`,
  String.raw`\[sc\] Video capture started at \d+x\d+@\d+ displayIndex=\d+`,
  String.raw`\[sc\] frame size now \d+x\d+`,
  String.raw`\[share\] (started|stopped) screen capture`,
  String.raw`\[quality\] degradationPreference=maintain-(framerate|resolution)`,
  String.raw`\[quality\] contentHint=(motion|detail)`,
  String.raw`\[quality\] (changed|native bucket) → .+`,
  String.raw`\[prefs\] applied from client: quality=\S* fps=\d+`,
  String.raw`\[control\] (new )?PIN: .+`,
  String.raw`\[control\] (auth|enabled)=(true|false)`,
  String.raw`\[control\] reset state on channel close`,
  String.raw`\[control\] Accessibility permission required: System Settings → Privacy & Security → Accessibility`,
  String.raw`\[input\] mapping mode=(points|pixels)`,
  String.raw`\[input\] origin=(top|bottom)`,
  String.raw`\[input\] target display id=\d+ rotation=\d+ bounds=${rectangle}`,
  String.raw`\[input\] fallback target frame=${rectangle} \(points\)`,
  String.raw`\[cursor\] (Starting cursor shape monitoring|Shape changed to: .+)`,
  String.raw`\[chat\] .*: .* @\d+`,
  String.raw`\[notify\] skipping UNUserNotifications \(no bundle identifier\)`,
  String.raw`sent fps: \d+ \(\d+x\d+\)`,
  String.raw`(offer|setLocalDescription|SRD|add candidate) error: .+`,
].map((form) => new RegExp(`^${form}$`, 'u'));

/// The lines that have none of the known forms.
export function unknownLines(lines) {
  return lines.filter((line) => !knownLines.some((form) => form.test(line)));
}

// The object in a text message that has a string "type", else null.
export function parseMessage(data) {
  if (typeof data !== 'string') return null;
  try {
    const message = JSON.parse(data);
    return message && typeof message === 'object' && typeof message.type === 'string' ? message : null;
  } catch {
    return null;
  }
}

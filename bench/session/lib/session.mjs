// Sessions to measure, on one or two machines.
import { Session } from '../../../tests/e2e/lib/whole-session.mjs';

/// Runs `body` with a session of its own.
export async function session(want, body) {
  const each = new Session('bench', want);
  try {
    await each.start();
    await body(each);
  } finally {
    await each.end();
  }
}

// A session for one test.
import { after } from 'node:test';
import { Browser, browserName } from './browser.mjs';
import { Session } from './whole-session.mjs';

// The tests of a file share a browser of each kind, in which every page has a profile of its own. One that is to be
// killed, or that runs on another machine, is not one of these.
const common = new Map();
after(() => Promise.all([...common.values()].map(async (starting) => (await starting.catch(() => null))?.end())));

async function sharedBrowser(name = browserName()) {
  if (!common.has(name)) common.set(name, Browser.start({ name }));
  const starting = common.get(name);
  const browser = await starting.catch((error) => {
    common.delete(name);
    throw error;
  });
  if (browser.browser.isConnected()) return browser;
  await browser.end();
  // Another page may have found the same, and started the next one.
  if (common.get(name) === starting) common.delete(name);
  return sharedBrowser(name);
}

/// Starts what `want` names and hands it to `body`. `t` is the test's context; on a failure the host's log and a
/// screenshot of each page are kept in build/results/e2e-failures.
export async function withSession(t, want, body) {
  const session = new Session(t.name, want, sharedBrowser);
  try {
    await session.start();
    return await body(session);
  } catch (error) {
    await session.keepEvidence().catch(() => {});
    throw error;
  } finally {
    await session.end();
  }
}

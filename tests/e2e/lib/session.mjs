// A session for one test.
import { after } from 'node:test';
import { Browser } from './browser.mjs';
import { Session } from './whole-session.mjs';

// The tests of a file share a browser, in which every page has a profile of its own. One that is to be killed, or that
// runs on another machine, is not this one.
let common = null;
after(async () => (await common?.catch(() => null))?.end());

async function sharedBrowser() {
  const browser = await (common ??= Browser.start().catch((error) => {
    common = null;
    throw error;
  }));
  if (browser.browser.isConnected()) return browser;
  await browser.end();
  common = null;
  return sharedBrowser();
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

// Chromium, one process tree per browser, so that a test can kill one without a regular shutdown.
import { chmod, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { chromium } from 'playwright-core';
import { nobody } from './message-bus.mjs';
import { temporaryDirectory } from './paths.mjs';

const args = [
  '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync', '--autoplay-policy=no-user-gesture-required',
];

export class Browser {
  /// `wrapper`, if any, is put before the browser's command.
  static async start({ executable = '/usr/bin/chromium', env = {}, wrapper = null } = {}) {
    let directory = null;
    if (wrapper) {
      directory = await temporaryDirectory('browser');
      const script = join(directory.path, 'chromium');
      await writeFile(script, `#!/bin/sh\nexec ${wrapper.join(' ')} ${executable} "$@"\n`);
      await chmod(script, 0o755);
      executable = script;
    }
    const server = await chromium.launchServer({
      executablePath: executable,
      headless: true,
      chromiumSandbox: false,
      args,
      env: { ...process.env, DBUS_SESSION_BUS_ADDRESS: nobody, ...env },
      timeout: 60000,
    });
    const browser = await chromium.connect(server.wsEndpoint());
    return new Browser(server, browser, directory);
  }

  constructor(server, browser, directory) {
    this.server = server;
    this.browser = browser;
    this.directory = directory;
  }

  /// A page in a profile of its own; its console output and errors are kept in `page.said`.
  async page() {
    const context = await this.browser.newContext({ viewport: { width: 1280, height: 720 } });
    // A timeout for a busy machine, as in until().
    context.setDefaultTimeout(60000);
    const page = await context.newPage();
    page.said = [];
    page.on('console', (message) => page.said.push(`${message.type()}: ${message.text()}`));
    page.on('pageerror', (error) => page.said.push(`error: ${error.message}`));
    return page;
  }

  /// Ends every process of it at once, as a crash or a power cut would.
  async kill() {
    await this.server.kill();
  }

  async end() {
    await this.browser.close().catch(() => {});
    await this.server.close().catch(() => {});
    await this.directory?.remove();
  }
}

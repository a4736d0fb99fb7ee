// Chromium, one process tree per browser, so that a test can take one away without a goodbye.
import { chromium } from 'playwright-core';

const args = [
  '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync', '--autoplay-policy=no-user-gesture-required',
];

export class Browser {
  static async start({ executable = '/usr/bin/chromium', env = {} } = {}) {
    const server = await chromium.launchServer({
      executablePath: executable,
      headless: true,
      chromiumSandbox: false,
      args,
      env: { ...process.env, ...env },
      timeout: 60000,
    });
    const browser = await chromium.connect(server.wsEndpoint());
    return new Browser(server, browser);
  }

  constructor(server, browser) {
    this.server = server;
    this.browser = browser;
  }

  /// A page in a profile of its own; what its console and its errors say is kept in `page.said`.
  async page() {
    const context = await this.browser.newContext({ viewport: { width: 1280, height: 720 } });
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
  }
}

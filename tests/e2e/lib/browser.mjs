// Chromium or Firefox, one process tree per browser, so that a test can kill one without a regular shutdown.
import { chmod, readFile, readdir, stat, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { chromium, firefox } from 'playwright-core';
import { firefoxPreferences } from './firefox-preferences.mjs';
import { nobody } from './message-bus.mjs';
import { temporaryDirectory } from './paths.mjs';
import { until } from './wait.mjs';

const kinds = {
  chromium: {
    executable: '/usr/bin/chromium',
    launch: (options) => chromium.launchServer({
      ...options,
      chromiumSandbox: false,
      args: [
        '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
        '--disable-component-update', '--disable-sync', '--autoplay-policy=no-user-gesture-required',
      ],
    }),
    connect: (address) => chromium.connect(address),
  },
  // The one of the distribution, which is driven over WebDriver BiDi.
  firefox: {
    executable: '/usr/bin/firefox-esr',
    launch: ({ env, ...options }, directory) => firefox.launchServer({
      ...options,
      channel: 'moz-firefox',
      firefoxUserPrefs: firefoxPreferences,
      // It does not start as root in a home directory of somebody else. The other setting lets it leave out the
      // server of firefoxPreferences.
      env: { ...env, HOME: directory.path, MOZ_REMOTE_SETTINGS_DEVTOOLS: '1' },
    }),
    connect: (address) => firefox.connect(address),
  },
};

/// The browser that tests use unless they name one: VANTORA_BROWSER, else "chromium".
export const browserName = () => process.env.VANTORA_BROWSER || 'chromium';

export class Browser {
  /// `name`: "chromium" or "firefox". `wrapper`, if any, is put before the browser's command.
  static async start({ name = browserName(), executable = kinds[name].executable, env = {}, wrapper = null } = {}) {
    const directory = await temporaryDirectory('browser');
    if (wrapper) {
      const script = join(directory.path, name);
      await writeFile(script, `#!/bin/sh\nexec ${wrapper.join(' ')} ${executable} "$@"\n`);
      await chmod(script, 0o755);
      executable = script;
    }
    const server = await kinds[name].launch({
      executablePath: executable,
      headless: true,
      downloadsPath: join(directory.path, 'saved'),
      env: { ...process.env, DBUS_SESSION_BUS_ADDRESS: nobody, ...env },
      timeout: 60000,
    }, directory);
    const browser = await kinds[name].connect(server.wsEndpoint());
    return new Browser(name, server, browser, directory);
  }

  constructor(name, server, browser, directory) {
    this.name = name;
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

  /// Does `action`, which makes `page` save a file that is not empty; resolves to {name, content (Buffer)}.
  async saved(page, action) {
    if (this.name === 'chromium') {
      const [download] = await Promise.all([page.waitForEvent('download'), action()]);
      const path = join(this.directory.path, 'copy');
      await download.saveAs(path);
      return { name: download.suggestedFilename(), content: await readFile(path) };
    }
    // Of files that a page made itself, the driver of Firefox reports nothing. They get their content, and their name,
    // at the end.
    const files = () => readdir(join(this.directory.path, 'saved')).catch(() => []);
    const before = new Set(await files());
    await action();
    return until(async () => {
      const [name, ...more] = (await files()).filter((each) => !before.has(each));
      const path = name && !more.length && join(this.directory.path, 'saved', name);
      return path && !name.endsWith('.part') && (await stat(path)).size > 0 && { name, content: await readFile(path) };
    }, { what: 'the saved file' });
  }

  /// Ends every process of it at once, as a crash or a power cut would.
  async kill() {
    await this.server.kill();
  }

  async end() {
    // A regular end takes Firefox seconds.
    if (this.name === 'firefox') await this.server.kill().catch(() => {});
    await this.browser.close().catch(() => {});
    await this.server.close().catch(() => {});
    await this.directory.remove();
  }
}

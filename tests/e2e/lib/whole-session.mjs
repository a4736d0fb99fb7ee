// One test's session: screen, room server, host and browser, taken down in the opposite order whatever happens.
import { mkdir, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { Browser } from './browser.mjs';
import { Host } from './host.mjs';
import { FarMachine, labAddress } from './netns.mjs';
import { build } from './paths.mjs';
import { PageServer } from './page-server.mjs';
import { RoomServer } from './room-server.mjs';
import { openBare, openViewer } from './viewer.mjs';
import { WaylandDesktop } from './wayland-desktop.mjs';
import { Xvfb } from './xvfb.mjs';

let count = 0;

export class Session {
  /// `shared`, if any, provides the browser for sessions that do not request their own. With `wayland`, the screen is
  /// a WaylandDesktop with these options; `browser` names the kind of browser.
  constructor(name, { screen = '1280x720', wayland = null, host = {}, browser = undefined, autoShare = true, hostNow = true,
    browserNow = true, far = false, roomFar = false } = {}, shared = null) {
    labAddress();
    this.name = name;
    this.want = { screen, wayland, host, browser, autoShare, hostNow, browserNow, far, roomFar };
    this.shared = shared;
    this.room = `room-${process.pid}-${++count}`;
    this.browsers = [];
    this.pages = [];
    this.hosts = [];
    this.others = [];
  }

  async start() {
    if (this.want.wayland) this.screen = await WaylandDesktop.start(this.want.wayland);
    else if (this.want.screen) this.screen = await Xvfb.start({ size: this.want.screen });
    // With `far`, browsers run on another machine, behind a cable; with `roomFar`, the room server as well.
    if (this.want.far) this.far = await FarMachine.start();
    this.pageServer = await PageServer.start(this.#listen);
    await this.#startRoomServer();
    await Promise.all([this.want.hostNow && this.startHost(), this.want.browserNow && this.useBrowser()]);
  }

  /// The environment of a host of this session.
  hostEnvironment() {
    const { screen, autoShare, host } = this.want;
    const size = this.screen ? { WIDTH: String(this.screen.width), HEIGHT: String(this.screen.height) } : {};
    return {
      ...(screen ? this.screen.env : { QT_QPA_PLATFORM: 'offscreen' }),
      ...size,
      SIGNAL_URL: this.server.signalUrl,
      ROOM: this.room,
      ...(autoShare ? { SHARE_AUTO: '1' } : {}),
      ...host.env,
    };
  }

  async startHost(more = {}) {
    const { env: _, ...rest } = this.want.host;
    this.host = await Host.start({ ...rest, ...more, env: { ...this.hostEnvironment(), ...more.env } });
    this.hosts.push(this.host);
    await this.host.pin();
    return this.host;
  }

  /// Ends the room server and starts it again at the same address.
  async restartRoomServer() {
    const { port } = this.server;
    await this.server.end();
    await this.#startRoomServer(port);
  }

  get #listen() {
    return this.far ? this.far.serverAddress : '127.0.0.1';
  }

  async #startRoomServer(port = 0) {
    const place = this.want.roomFar ? { listen: this.far.address, wrapper: this.far.wrapper } : { listen: this.#listen };
    this.server = await RoomServer.start({ ...place, port, allow: [this.pageServer.address] });
  }

  /// The shared browser; one of its own where there is none, and on a far machine.
  async useBrowser() {
    if (this.far || !this.shared) return this.startBrowser();
    return (this.browser ??= await this.shared(this.want.browser));
  }

  async startBrowser(options) {
    const browser = await Browser.start({ name: this.want.browser, wrapper: this.far?.wrapper, ...options });
    this.browsers.push(browser);
    this.browser ??= browser;
    return browser;
  }

  async viewer(browser = this.browser) {
    const page = await openViewer(browser, this.server, this.room);
    this.pages.push(page);
    return page;
  }

  async bare(browser = this.browser) {
    const page = await openBare(browser, this.pageServer, this.server, this.room);
    this.pages.push(page);
    return page;
  }

  /// Ends `child` (anything with end()) with the session.
  keep(child) {
    this.others.push(child);
    return child;
  }

  async keepEvidence() {
    const directory = join(build, '../results/e2e-failures', this.name.replace(/[^A-Za-z0-9]+/g, '-'));
    await mkdir(directory, { recursive: true });
    for (const [index, host] of this.hosts.entries()) {
      await writeFile(join(directory, `host${index}.log`), host.child.text().join('\n'));
    }
    if (this.want.wayland) await writeFile(join(directory, 'desktop.log'), this.screen.child.text().join('\n'));
    for (const [index, page] of this.pages.entries()) {
      await writeFile(join(directory, `page${index}.log`), page.said.join('\n'));
      // A page that hangs must not hold up what tells of it.
      const silence = new Promise((resolve) => setTimeout(resolve, 3000, 'the page says nothing').unref());
      const state = await Promise.race([page.evaluate(() => window.bare?.state()).catch(String), silence]);
      if (state) await writeFile(join(directory, `page${index}.json`), JSON.stringify(state, null, 1));
      await page.screenshot({ path: join(directory, `page${index}.png`), timeout: 3000 }).catch(() => {});
    }
  }

  async end() {
    await Promise.all(this.pages.map((page) => page.context().close().catch(() => {})));
    await Promise.all(this.browsers.map((browser) => browser.end()));
    for (const other of this.others.reverse()) await other.end();
    for (const host of this.hosts) await host.end();
    await this.pageServer?.end();
    await this.server?.end();
    await this.screen?.end();
    await this.far?.end();
  }
}

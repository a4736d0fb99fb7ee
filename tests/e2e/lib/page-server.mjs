// Serves the files of page/ on a free port.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { basename, extname, join } from 'node:path';
import { here } from './paths.mjs';

const types = { '.html': 'text/html', '.mjs': 'text/javascript' };

export class PageServer {
  static async start(listen = '127.0.0.1') {
    const server = createServer(async (request, response) => {
      const name = basename(new URL(request.url, 'http://page').pathname);
      try {
        const body = await readFile(join(here, 'page', name));
        response.writeHead(200, { 'Content-Type': types[extname(name)], 'Cache-Control': 'no-store' }).end(body);
      } catch {
        response.writeHead(404).end();
      }
    });
    await new Promise((resolve) => server.listen(0, listen, resolve));
    return new PageServer(server, listen);
  }

  constructor(server, listen) {
    this.server = server;
    this.address = `http://${listen}:${server.address().port}`;
  }

  end() {
    this.server.closeAllConnections();
    return new Promise((resolve) => this.server.close(resolve));
  }
}

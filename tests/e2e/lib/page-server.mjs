// Serves the files of page/ on a free port of loopback.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { basename, extname, join } from 'node:path';
import { here } from './paths.mjs';

const types = { '.html': 'text/html', '.mjs': 'text/javascript' };

export class PageServer {
  static async start() {
    const server = createServer(async (request, response) => {
      const name = basename(new URL(request.url, 'http://page').pathname);
      try {
        const body = await readFile(join(here, 'page', name));
        response.writeHead(200, { 'Content-Type': types[extname(name)], 'Cache-Control': 'no-store' }).end(body);
      } catch {
        response.writeHead(404).end();
      }
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    return new PageServer(server);
  }

  constructor(server) {
    this.server = server;
    this.address = `http://127.0.0.1:${server.address().port}`;
  }

  end() {
    this.server.closeAllConnections();
    return new Promise((resolve) => this.server.close(resolve));
  }
}

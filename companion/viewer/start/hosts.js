// The hosts that the supporter named: rooms with names, kept in this browser only. The server lists no rooms.

const MAX_HOSTS = 500;
const MAX_ROOM = 128;
const MAX_NAME = 80;

export const FULL = `Your list has ${MAX_HOSTS} hosts, and takes no more.`;

export class Hosts {
  #settings;

  constructor(settings) {
    this.#settings = settings;
  }

  // [{room, name, opened (ms since 1970, 0 for never)}], the last opened first.
  get all() {
    const stored = this.#settings.get('hosts', [], Array.isArray);
    return stored.filter(isHost).sort((a, b) => b.opened - a.opened || a.name.localeCompare(b.name));
  }

  find(room) {
    return this.all.find((host) => host.room === room) ?? null;
  }

  // Adds a host or gives it another name; an empty name becomes that of the room. Returns false when nothing was kept.
  name(room, name) {
    const id = room.trim().slice(0, MAX_ROOM);
    if (!id) return false;
    const known = this.find(id);
    const others = this.all.filter((host) => host.room !== id);
    if (!known && others.length >= MAX_HOSTS) return false;
    this.#store([...others, { room: id, name: name.trim().slice(0, MAX_NAME) || id, opened: known?.opened ?? 0 }]);
    return true;
  }

  remove(room) {
    this.#store(this.all.filter((host) => host.room !== room));
  }

  // A room was opened: its host comes first from now on. Rooms that nobody named are not kept.
  opened(room, now = Date.now()) {
    if (!this.find(room)) return;
    this.#store(this.all.map((host) => (host.room === room ? { ...host, opened: now } : host)));
  }

  #store(hosts) {
    this.#settings.set('hosts', hosts);
  }
}

// The storage can be edited, and may come from another version of the page.
function isHost(host) {
  return host !== null && typeof host === 'object' && typeof host.room === 'string' && host.room !== '' &&
    typeof host.name === 'string' && Number.isFinite(host.opened);
}

// What a machine is, for figures that depend on it.
import { execFileSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { cpus, release, totalmem } from 'node:os';

function version(name) {
  try {
    return execFileSync('dpkg-query', ['-W', '-f=${Version}', name], { encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] }) || null;
  } catch {
    return null;
  }
}

function distribution() {
  try {
    return readFileSync('/etc/os-release', 'utf8').match(/^PRETTY_NAME="?(.*?)"?$/m)[1];
  } catch {
    return null;
  }
}

const packages = ['chromium', 'libtgowt-dev', 'libaom3', 'tigervnc-scraping-server', 'x11vnc', 'gstreamer1.0-plugins-good', 'xvfb'];

/// {cpu, cores, memoryGiB, kernel, system, versions: {package: version}}; what is not installed is left out.
export function machine() {
  const versions = packages.map((name) => [name, version(name)]).filter(([, found]) => found);
  return { cpu: cpus()[0]?.model, cores: cpus().length, memoryGiB: Math.round(totalmem() / 2 ** 30), kernel: release(), system: distribution(),
    versions: Object.fromEntries(versions) };
}

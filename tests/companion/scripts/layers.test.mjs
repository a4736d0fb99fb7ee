// scripts/check-layers, in trees of the test's own.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { cp, mkdir, writeFile } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { afterEach, test } from 'node:test';
import { promisify } from 'node:util';
import { root, temporaryDirectory } from '../../e2e/lib/paths.mjs';

const execute = promisify(execFile);
let place;
afterEach(() => place?.remove());

// What the script prints about a tree of these files, one line each; the rest of the tree is clean.
async function check(files) {
  place = await temporaryDirectory('layers-test');
  const all = {
    'base/Json.h': '#include <string>\n',
    'tests/fakes/FakeClipboard.h': '#include "base/Json.h"\n',
    'bench/Bench.cpp': '#include "main/control/Control.h"\n',
    ...files,
  };
  for (const [path, text] of Object.entries(all)) {
    await mkdir(join(place.path, dirname(path)), { recursive: true });
    await writeFile(join(place.path, path), text);
  }
  await mkdir(join(place.path, 'scripts'));
  await cp(join(root, 'scripts/check-layers'), join(place.path, 'scripts/check-layers'));
  await execute('git', ['init', '--quiet'], { cwd: place.path });
  await execute('git', ['add', '.'], { cwd: place.path });
  const { code, stderr } = await execute(join(place.path, 'scripts/check-layers')).catch((error) => error);
  const lines = stderr.split('\n').filter(Boolean);
  assert.equal(code ?? 0, lines.length > 0 ? 1 : 0);
  return lines;
}

test('accepts includes of the own layer, of lower ones and of libraries', async () => {
  assert.deepEqual(await check({
    'main/control/Control.h': '#include "base/Json.h"\n#include "main/control/Input.h"\n#include "Generated.h"\n',
    'main/rtc/Peer.cpp': '#include <api/jsep.h>\n#include "rtc_base/thread.h"\n',
    'main/main.cpp': '#include "main/session/Host.h"\n#include "platform/DesktopChoice.h"\n',
    'platform/linux/LinuxDesktop.h': '#include "platform/DesktopSession.h"\n',
    'platform/x11/X11Desktop.cpp': '#include "platform/linux/LinuxDesktop.h"\n#include "platform/x11/X11Input.h"\n',
  }), []);
});

const violations = {
  'a higher layer': ['main/control/Control.h', '#include "main/session/Host.h"', 'main/control may not include main/session/Host.h'],
  'a neighbour': ['main/rtc/Peer.cpp', '#include "main/signalling/Signaler.h"', 'main/rtc may not include main/signalling/Signaler.h'],
  'tests from the program': ['main/main.cpp', '#include "tests/fakes/FakeClipboard.h"',
    'main/* may not include tests/fakes/FakeClipboard.h, which belongs to no layer'],
  'benchmarks from the program': ['base/Json.cpp', '#include "bench/Bench.h"', 'base may not include bench/Bench.h, which belongs to no layer'],
  'anything in a folder without a layer': ['main/foo/Foo.cpp', '#include "main/session/Host.h"',
    'this folder belongs to no layer of scripts/check-layers'],
  'an include in angle brackets': ['base/Json.cpp', '#include <main/session/Host.h>', 'base may not include main/session/Host.h'],
  'an indented include': ['base/Json.cpp', ' #  include "main/session/Host.h"', 'base may not include main/session/Host.h'],
  'a path from the own folder': ['base/Json.cpp', '#include "../main/session/Host.h"', 'write ../main/session/Host.h from the root of the project'],
  'Linux from X11': ['platform/x11/X11Input.cpp', '#include "platform/linux/LinuxDesktop.h"',
    'platform/x11/* may not include platform/linux/LinuxDesktop.h'],
  'X11 from Linux': ['platform/linux/atspi/AtSpiBus.cpp', '#include "platform/x11/X11Input.h"',
    'platform/linux/atspi may not include platform/x11/X11Input.h'],
  'X11 from above platform': ['main/control/Control.cpp', '#include "platform/x11/X11Input.h"',
    'main/control may not include platform/x11/X11Input.h'],
};
for (const [what, [file, include, complaint]] of Object.entries(violations)) {
  test(`refuses ${what}`, async () => {
    assert.deepEqual(await check({ [file]: `// A comment.\n${include}\n` }), [`${file}:2: ${complaint}`]);
  });
}

test('reports a tree without includes', async () => {
  assert.deepEqual(await check({ 'base/Json.h': '// empty\n' }), ['no include was found']);
});

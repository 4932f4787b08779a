// SPDX-License-Identifier: GPL-3.0-or-later
//
// A catalog and the program that serves it, for as long as a test file needs them.
import { spawn, spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const build = process.env.VAULTMERE_BUILD;

/** The build's programs, or what stands in for them as long as there are none. */
const programs = existsSync(join(build, 'serve_gallery'))
  ? { make: [join(build, 'make_catalog')], serve: [join(build, 'serve_gallery')] }
  : standIn();

function standIn() {
  const script = fileURLToPath(new URL('stand-in.mjs', import.meta.url));
  return {
    make: [process.execPath, script, 'make'],
    serve: [process.execPath, script, 'serve', '--web', join(build, 'web')],
  };
}

/** A folder with a catalog of `photos` rows, and thumbnails for most of them. */
export function makeCatalog(photos) {
  const support = mkdtempSync(join(tmpdir(), 'gallery-'));
  const [program, ...first] = programs.make;
  const made = spawnSync(program, [...first, '--support', support, '--photos', String(photos)], {
    encoding: 'utf8',
  });
  if (made.status !== 0) throw new Error(`no catalog: ${made.stderr}`);
  return support;
}

function freePort() {
  return new Promise((resolve, reject) => {
    const probe = createServer();
    probe.once('error', reject);
    probe.listen(0, '127.0.0.1', () => {
      const { port } = probe.address();
      probe.close(() => resolve(port));
    });
  });
}

/**
 * Makes a catalog and serves it. Gives the address, `ask(route)` for the server's own
 * word on something, `addThumb(id)` for a thumbnail that comes late, and `stop`.
 */
export async function startGallery({ photos = 4000, password = '' } = {}) {
  const support = makeCatalog(photos);
  const port = await freePort();
  const [program, ...first] = programs.serve;
  const server = spawn(
    program,
    [
      ...first,
      '--support',
      support,
      '--port',
      String(port),
      ...(password ? ['--password', password] : []),
    ],
    { stdio: ['ignore', 'pipe', 'inherit'] },
  );
  const address = `http://127.0.0.1:${port}`;
  try {
    await new Promise((resolve, reject) => {
      server.stdout.once('data', resolve);
      server.once('error', reject);
      server.once('exit', (code) => reject(new Error(`the server ended with ${code}`)));
    });
  } catch (error) {
    server.kill();
    rmSync(support, { recursive: true, force: true });
    throw error;
  }
  const headers = password
    ? { Authorization: `Basic ${Buffer.from(`:${password}`).toString('base64')}` }
    : {};
  return {
    address,
    ask: async (route) => (await fetch(address + route, { headers })).json(),
    hasThumb: async (id) => (await fetch(`${address}/thumb/${id}`, { headers })).ok,
    addThumb: (id) =>
      writeFileSync(
        join(support, 'cache', 'thumbs', `${id}.jpg`),
        Buffer.from(SMALL_JPEG, 'base64'),
      ),
    stop: async () => {
      server.removeAllListeners('exit');
      const ended = new Promise((resolve) => server.once('exit', resolve));
      server.kill();
      await ended;
      rmSync(support, { recursive: true, force: true });
    },
  };
}

/** A JPEG of eight by eight black pixels. */
const SMALL_JPEG =
  '/9j/2wBDABALDA4MChAODQ4SERATGCgaGBYWGDEjJR0oOjM9PDkzODdASFxOQERXRTc4UG1RV19iZ2hn' +
  'Pk1xeXBkeFxlZ2P/wAALCAAIAAgBAREA/8QAFAABAAAAAAAAAAAAAAAAAAAAB//EABQQAQAAAAAAAAAA' +
  'AAAAAAAAAAD/2gAIAQEAAD8AP3//2Q==';

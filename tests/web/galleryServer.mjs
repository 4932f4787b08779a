// SPDX-License-Identifier: GPL-3.0-or-later
//
// A made-up library and the program that serves it.
import { spawn, spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

/** The first words of a program on its standard output; fails when it ends without any. */
function firstWords(program, name) {
  return new Promise((resolve, reject) => {
    program.stdout.once('data', (words) => resolve(String(words)));
    program.once('error', reject);
    program.once('exit', (code) => reject(new Error(`${name} ended with ${code}`)));
  });
}

export class Gallery {
  #folder = mkdtempSync(join(tmpdir(), 'gallery-'));
  #server = null;
  #headers = {};

  /** Makes a library of `photos` and serves it, at `address`. */
  static async of({ photos, password = '' }) {
    const gallery = new Gallery();
    try {
      await gallery.#start(photos, password);
    } catch (error) {
      await gallery.stop();
      throw error;
    }
    return gallery;
  }

  async #start(photos, password) {
    const folder = this.#folder;
    const made = spawnSync(process.env.MAKE_CATALOG, [folder, String(photos)], {
      encoding: 'utf8',
    });
    if (made.status !== 0) throw made.error ?? new Error(`no library: ${made.stderr}`);
    const options = { support: join(folder, 'data'), archive: join(folder, 'archive'), port: 0 };
    if (password) {
      options.password = password;
      this.#headers.Authorization = `Basic ${Buffer.from(`:${password}`).toString('base64')}`;
    }
    const words = Object.entries(options).flatMap(([name, value]) => [`--${name}`, `${value}`]);
    // With setpriv it ends with us, even if we are killed.
    this.#server = spawn(
      'setpriv',
      ['--pdeathsig', 'TERM', '--', process.env.SERVE_GALLERY, ...words],
      { stdio: ['ignore', 'pipe', 'inherit'] },
    );
    const greeting = await firstWords(this.#server, 'serve_gallery');
    this.address = /http:\/\/[^/\s]+/.exec(greeting)[0];
  }

  /** The server's own word on something. */
  async ask(route, query = {}) {
    const text = Object.entries(query).map(([key, value]) => `${key}=${encodeURIComponent(value)}`);
    const address = `${this.address}${route}${text.length ? `?${text.join('&')}` : ''}`;
    return (await fetch(address, { headers: this.#headers })).json();
  }

  async count(query = {}) {
    return (await this.ask('/api/photos', { ...query, page_size: 1 })).total;
  }

  hasOriginal({ target_path: path }) {
    return existsSync(join(this.#folder, 'archive', path));
  }

  forgetThumbnail({ id }) {
    rmSync(join(this.#folder, 'data', 'cache', 'thumbs', `${id}.jpg`), { force: true });
  }

  async stop() {
    if (this.#server?.exitCode === null && this.#server.signalCode === null) {
      const ended = new Promise((resolve) => this.#server.once('exit', resolve));
      this.#server.kill();
      await ended;
    }
    rmSync(this.#folder, { recursive: true, force: true });
  }
}

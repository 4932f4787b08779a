// SPDX-License-Identifier: GPL-3.0-or-later
//
// A listing is a sequence of photos: `total` (null until it is known), `id(i)` and
// `item(i)` (undefined while unknown), `want(from, to, who)` to load a range, `load(i)`
// for one record, `error`. It fires "change". Each consumer `who` has one wanted range;
// a later call replaces it.
import { without } from './functions.js';
import { recordLookup } from './recordLookup.js';
import { askPage, askPoints, PAGE, pointsWithin, wasAborted } from './server.js';
import { MAX_PAUSE } from './thumbnails.js';

const PAGES_KEPT = 60;
const PAGES_AT_ONCE = 3;

class Listing extends EventTarget {
  total = null;
  error = null;

  /** Whether the order is by capture date, so that months follow each other. */
  byMonth = false;

  changed() {
    this.dispatchEvent(new Event('change'));
  }
}

/** The server's paged list. A changed total means that offsets have shifted. */
class PhotoList extends Listing {
  #filters;
  #sort;
  #pages = new Map(); // page → records, the least recently used first
  #months = new Map(); // page → [[month, count], …], never evicted
  #loading = new Map(); // page → { stop, promise }
  #wanted = new Map(); // who → pages
  #pause = 2000;
  #backingOff = false; // after a failure, until the retry
  #retry = 0;

  constructor(filters, sort) {
    super();
    this.#filters = filters;
    this.#sort = sort;
    this.byMonth = sort !== 'added';
  }

  item(index) {
    return this.#pages.get(Math.floor(index / PAGE))?.[index % PAGE];
  }

  id(index) {
    return this.item(index)?.id;
  }

  /** The months in order: [month, count]; month is undefined for pages not loaded yet. */
  months() {
    const runs = [];
    for (let page = 0; page * PAGE < this.total; page++) {
      const unseen = [[undefined, Math.min(PAGE, this.total - page * PAGE)]];
      for (const [month, n] of this.#months.get(page) ?? unseen) {
        const last = runs.at(-1);
        if (last && last[0] === month) last[1] += n;
        else runs.push([month, n]);
      }
    }
    return runs;
  }

  /** Loads a range of indexes, and stops loading what nobody wants any more. */
  want(from, to, who) {
    const last = this.total === null ? 0 : Math.max(0, Math.ceil(this.total / PAGE) - 1);
    const pages = [];
    for (
      let page = Math.floor(Math.max(0, from) / PAGE);
      page <= Math.min(last, to / PAGE);
      page++
    ) {
      pages.push(page);
    }
    this.#wanted.set(who, pages);
    const wanted = this.#wantedPages;
    for (const [page, { stop, held }] of this.#loading) {
      if (!held && !wanted.has(page)) stop.abort();
    }
    this.#proceed();
  }

  get #wantedPages() {
    return new Set([...this.#wanted.values()].flat());
  }

  /** The record at an index; null when there is none. Throws ServerError. */
  async load(index) {
    const page = Math.floor(index / PAGE);
    if (!this.#pages.has(page)) await this.#fetch(page, true);
    return this.item(index) ?? null;
  }

  tryAgain() {
    this.error = null;
    this.changed();
    this.#resume();
  }

  /** Asks for the first page again, to notice that the catalog has changed. */
  async lookAgain() {
    const { total, items } = await askPage(this.#filters, this.#sort, 0, PAGE);
    const first = this.#pages.get(0);
    if (total !== this.total || (first && first[0]?.id !== items[0]?.id)) {
      this.#forget();
      this.#store(0, total, items);
    }
  }

  close() {
    clearTimeout(this.#retry);
    this.#wanted.clear();
    for (const { stop } of this.#loading.values()) stop.abort();
  }

  #proceed() {
    for (const page of this.#wantedPages) {
      if (this.#loading.size >= PAGES_AT_ONCE) return;
      const kept = this.#pages.get(page);
      if (kept) {
        this.#pages.delete(page);
        this.#pages.set(page, kept);
      } else if (!this.#backingOff) {
        this.#fetch(page, false).catch(() => {});
      }
    }
  }

  #fetch(page, held) {
    const running = this.#loading.get(page);
    if (running && !running.stop.signal.aborted) {
      running.held ||= held;
      return running.promise;
    }
    const stop = new AbortController();
    const entry = { stop, held };
    entry.promise = this.#load(page, stop.signal).finally(() => {
      if (this.#loading.get(page) === entry) this.#loading.delete(page);
      if (!stop.signal.aborted) this.#proceed();
    });
    this.#loading.set(page, entry);
    return entry.promise;
  }

  async #load(page, signal) {
    try {
      const { total, items } = await askPage(this.#filters, this.#sort, page, PAGE, signal);
      signal.throwIfAborted();
      this.error = null;
      this.#backingOff = false;
      this.#pause = 2000;
      if (this.total !== null && total !== this.total) this.#forget();
      this.#store(page, total, items);
    } catch (error) {
      if (!wasAborted(error)) this.#failed(error);
      throw error;
    }
  }

  #failed(error) {
    this.error = error;
    this.#backingOff = true;
    this.changed();
    clearTimeout(this.#retry);
    if (error.kind === 'locked') return;
    this.#retry = setTimeout(() => this.#resume(), this.#pause);
    this.#pause = Math.min(this.#pause * 2, MAX_PAUSE);
  }

  /** The error stays until a page has arrived. */
  #resume() {
    clearTimeout(this.#retry);
    this.#backingOff = false;
    this.#proceed();
  }

  #forget() {
    this.#pages.clear();
    this.#months.clear();
  }

  #store(page, total, items) {
    this.total = total;
    this.#pages.set(page, items);
    const runs = [];
    for (const { capture_date: stamp } of items) {
      const month = stamp?.slice(0, 7) ?? '';
      if (runs.at(-1)?.[0] === month) runs.at(-1)[1] += 1;
      else runs.push([month, 1]);
    }
    this.#months.set(page, runs);
    const wanted = this.#wantedPages;
    for (const old of this.#pages.keys()) {
      if (this.#pages.size <= PAGES_KEPT) break;
      if (!wanted.has(old)) this.#pages.delete(old);
    }
    this.changed();
  }
}

/**
 * Photos of which only the ids are known, as from the map and the colours. Records are
 * looked up one by one, on demand.
 */
export class IdList extends Listing {
  #items = [];
  #find = async () => null;
  #source;

  /** source: () => Promise<{ ids, find }>, where find(id) gives the record or null. */
  constructor(source) {
    super();
    this.#source = source;
    this.ready = this.#start();
  }

  id(index) {
    return this.#items[index]?.id;
  }

  /** A record, or { id, bare: true }. */
  item(index) {
    return this.#items[index];
  }

  indexOf(id) {
    return this.#items.findIndex((item) => item.id === id);
  }

  want() {}

  async load(index) {
    const item = this.#items[index];
    if (!item?.bare) return item ?? null;
    const record = await this.#find(item.id);
    if (record) this.#items[index] = record;
    return record;
  }

  tryAgain() {
    this.error = null;
    this.changed();
    this.ready = this.#start();
  }

  async lookAgain() {}

  close() {}

  async #start() {
    try {
      const { ids, find } = await this.#source();
      this.#items = ids.map((id) => ({ id, bare: true }));
      this.#find = find ?? this.#find;
      this.total = ids.length;
    } catch (error) {
      this.error = error;
    }
    this.changed();
  }
}

/** One photo, for an address whose photo isn't in its listing. */
export const singlePhoto = (id) => new IdList(async () => ({ ids: [id] }));

export function listingFor({ filters, sort }) {
  if (!filters.area) return new PhotoList(filters, sort);
  return new IdList(async () => {
    const ids = (await pointsWithin(filters)).map(({ id }) => id).reverse();
    return { ids, find: recordLookup(askPoints, without(filters, 'area')) };
  });
}

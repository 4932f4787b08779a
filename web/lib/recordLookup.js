// SPDX-License-Identifier: GPL-3.0-or-later
import { hasFilters, serverFilters } from './filters.js';
import { clamp } from './functions.js';
import { askPage, PAGE } from './server.js';

const PROBES = 12;

/**
 * Returns a function that finds the record of an id; null when it can't be found.
 *
 * The list route knows no ids, but the rows of a filter, as `askRows` gives them in the
 * store's order, mostly follow the import or the capture date. So this is an
 * interpolation search over the list's pages. Where a filter brings another order, the
 * search is repeated over the whole library.
 */
export function recordLookup(askRows, filters) {
  const sources = hasFilters(filters) ? [filters, {}] : [filters];
  const ranks = new Map();
  const ranksIn = async (source) => {
    if (!ranks.has(source)) {
      const rows = await askRows(serverFilters(source));
      ranks.set(source, new Map(rows.map(({ id }, rank) => [id, rank])));
    }
    return ranks.get(source);
  };
  return async (id) => {
    for (const source of sources) {
      const known = await ranksIn(source);
      if (!known.has(id)) continue;
      for (const sort of ['added', 'newest']) {
        const record = await probe(id, known, sort, source);
        if (record) return record;
      }
    }
    return null;
  };
}

/** Searches at most PROBES pages of one sort; one, if the ids show no order on it. */
async function probe(id, ranks, sort, filters) {
  const goal = ranks.get(id);
  const looked = new Map(); // page → distance in rank
  let pages = Math.max(1, Math.ceil(ranks.size / PAGE));
  let low = 0;
  let high = Infinity; // the list is longer than `ranks` where photos have no position
  let rising = null;
  let page = Math.floor((ranks.size - goal) / PAGE);
  while (looked.size < Math.min(PROBES, pages)) {
    page = clamp(page, low, high);
    if (low > high || looked.has(page)) page = nextToClosest(looked, pages);
    const { total, items } = await askPage(filters, sort, page, PAGE);
    const found = items.find((item) => item.id === id);
    if (found) return found;
    pages = Math.ceil(total / PAGE);
    high = Math.min(high, pages - 1);
    const seen = items.map((item) => ranks.get(item.id)).filter((rank) => rank !== undefined);
    if (seen.length === 0) {
      looked.set(page, ranks.size);
      page = page - low > high - page ? (low + page) >> 1 : (page + high + 1) >> 1;
      continue;
    }
    if (rising === null) {
      const share = risingShare(seen);
      if (share > 0.3 && share < 0.7) return null;
      rising = share > 0.5;
    }
    const middle = seen.sort((a, b) => a - b)[seen.length >> 1];
    looked.set(page, Math.abs(goal - middle));
    const onwards = middle < goal === rising;
    if (onwards) low = page + 1;
    else high = page - 1;
    const share = Math.abs(goal - middle) / ranks.size;
    page += (onwards ? 1 : -1) * Math.max(1, Math.round(share * (total / PAGE)));
  }
  return null;
}

/** In a rough order the page is near to the closest one so far. */
function nextToClosest(looked, pages) {
  const [[best]] = [...looked].sort(([, a], [, b]) => a - b);
  for (let away = 1; ; away++) {
    for (const page of [best + away, best - away]) {
      if (page >= 0 && page < pages && !looked.has(page)) return page;
    }
  }
}

/**
 * The share of rising steps between neighbours; 0 for less than two numbers, since the lists
 * begin with the newest and the store with the oldest.
 */
function risingShare(numbers) {
  const rises = numbers.filter((n, i) => i > 0 && n > numbers[i - 1]).length;
  return numbers.length > 1 ? rises / (numbers.length - 1) : 0;
}

// SPDX-License-Identifier: GPL-3.0-or-later

const PROBES = 12;

/**
 * The list route knows no ids, but the rows of a filter, as `askRows` gives them in the
 * store's order, mostly follow the import or the capture. So a record is found like a
 * name in a telephone book: open a page, see which ids are on it, go on towards the id.
 * Where a filter brings another order, the whole library is gone through like that.
 * Gives a function from id to record; null when it can't be found this way.
 */
function recordFinder(askRows, filters) {
  const books = hasFilters(filters) ? [filters, {}] : [filters];
  const ranks = new Map();
  const ranksIn = async (book) => {
    if (!ranks.has(book)) {
      const rows = await askRows(serverFilters(book));
      ranks.set(book, new Map(rows.map(({ id }, rank) => [id, rank])));
    }
    return ranks.get(book);
  };
  return async (id) => {
    for (const book of books) {
      const known = await ranksIn(book);
      if (!known.has(id)) continue;
      for (const sort of ['added', 'newest']) {
        const record = await probe(id, known, sort, book);
        if (record) return record;
      }
    }
    return null;
  };
}

/** Looks at no more than PROBES pages of one sort, and at one if it's no order of the ids. */
async function probe(id, ranks, sort, filters) {
  const goal = ranks.get(id);
  const looked = new Map(); // page → how far off in rank it was
  let pages = Math.max(1, Math.ceil(ranks.size / PAGE));
  let low = 0;
  let high = pages - 1;
  let rising = false; // the lists begin with the newest, the store with the oldest
  let page = Math.floor((ranks.size - goal) / PAGE);
  while (looked.size < Math.min(PROBES, pages)) {
    page = low <= high ? clamp(page, low, high) : besideBest(looked, pages);
    const { total, items } = await askPage(filters, sort, page, PAGE);
    const found = items.find((item) => item.id === id);
    if (found) return found;
    pages = Math.ceil(total / PAGE);
    high = Math.min(high, pages - 1);
    const seen = items.map((item) => ranks.get(item.id)).filter((rank) => rank !== undefined);
    if (looked.size === 0) {
      const share = shareOfRises(seen);
      if (share > 0.3 && share < 0.7) return null;
      rising = share > 0.5;
    }
    const middle = seen.sort((a, b) => a - b)[seen.length >> 1] ?? Infinity;
    looked.set(page, Math.abs(goal - middle));
    const onwards = middle < goal === rising;
    if (onwards) low = page + 1;
    else high = page - 1;
    const share = Number.isFinite(middle) ? Math.abs(goal - middle) / ranks.size : 0;
    page += (onwards ? 1 : -1) * Math.max(1, Math.round(share * (total / PAGE)));
  }
  return null;
}

/** Where the order is a rough one, the page is near to the one that came closest. */
function besideBest(looked, pages) {
  const [[best]] = [...looked].sort(([, a], [, b]) => a - b);
  for (let away = 1; ; away++) {
    for (const page of [best + away, best - away]) {
      if (page >= 0 && page < pages && !looked.has(page)) return page;
    }
  }
}

/** How many of the steps between numbers go up; all of them when there are none. */
function shareOfRises(numbers) {
  const rises = numbers.filter((n, i) => i > 0 && n > numbers[i - 1]).length;
  return numbers.length > 1 ? rises / (numbers.length - 1) : 1;
}

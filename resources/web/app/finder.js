// SPDX-License-Identifier: GPL-3.0-or-later

const PROBES = 10;

/**
 * The list route knows no ids, but `ids`, all photos of a filter as the store gives
 * them, mostly stand in the order of import or of capture. So a record is found like a
 * name in a telephone book: open a page, see which ids are on it, go on towards the id.
 * Gives a function from id to record; null when it can't be found that way.
 */
function recordFinder(ids, filters) {
  let ranks = null;
  return async (id) => {
    ranks ??= new Map(ids.map((known, rank) => [known, rank]));
    if (!ranks.has(id)) return null;
    for (const sort of ['added', 'newest']) {
      const record = await probe(id, ranks, sort, filters);
      if (record) return record;
    }
    return null;
  };
}

async function probe(id, ranks, sort, filters) {
  const goal = ranks.get(id);
  let low = 0;
  let high = Infinity;
  let rising = false; // the lists begin with the newest, the store with the oldest
  let page = Math.floor(((1 - goal / ranks.size) * ranks.size) / PAGE);
  for (let i = 0; i < PROBES && low <= high; i++) {
    page = clamp(page, low, high);
    const { total, items } = await askPage(filters, sort, page, PAGE);
    const found = items.find((item) => item.id === id);
    if (found) return found;
    high = Math.min(high, Math.ceil(total / PAGE) - 1);
    const seen = items.map((item) => ranks.get(item.id)).filter((rank) => rank !== undefined);
    if (seen.length === 0) {
      page = page < high ? page + 1 : Math.floor((low + high) / 2);
      continue;
    }
    if (i === 0) rising = climbs(seen);
    const middle = seen.sort((a, b) => a - b)[seen.length >> 1];
    const onwards = middle < goal === rising;
    if (onwards) low = page + 1;
    else high = page - 1;
    const pages = Math.round((Math.abs(goal - middle) / ranks.size) * (total / PAGE));
    page += (onwards ? 1 : -1) * Math.max(1, pages);
  }
  return null;
}

/** Whether numbers rather rise than fall. */
function climbs(numbers) {
  const rises = numbers.filter((n, i) => i > 0 && n > numbers[i - 1]).length;
  return rises > (numbers.length - 1) / 2;
}

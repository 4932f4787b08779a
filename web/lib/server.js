// SPDX-License-Identifier: GPL-3.0-or-later
import { queryText } from './address.js';
import { readArea, serverFilters } from './filters.js';

/** Records of a page of the list. */
export const PAGE = 100;

export class ServerError extends Error {
  /** kind: "unreachable", "locked" or "failed". */
  constructor(kind) {
    const [title, text] = {
      unreachable: [
        'The gallery can’t be reached',
        'Is the computer that holds it awake, and is this device on the same network?',
      ],
      locked: ['This gallery asks for its password', 'Reload the page to enter it.'],
      failed: ['The gallery gave no usable answer', 'That may pass in a moment.'],
    }[kind];
    super(text);
    this.title = title;
    this.kind = kind;
  }
}

export const wasAborted = (error) => error.name === 'AbortError';

// Built on the origin: an address with a name and password in it is no base for a request.
export const thumbAddress = (id) => `${location.origin}/thumb/${encodeURIComponent(id)}`;
export const imageAddress = (id) => `${location.origin}/img/${encodeURIComponent(id)}`;

/** The JSON of a route. Throws ServerError, or AbortError when `signal` stopped it. */
async function ask(route, parameters = {}, signal = undefined) {
  let answer;
  try {
    answer = await fetch(`${location.origin}${route}${queryText(parameters)}`, {
      signal,
      cache: 'no-store',
    });
    if (answer.status === 401) throw new ServerError('locked');
    if (!answer.ok) throw new ServerError('failed');
  } catch (error) {
    if (wasAborted(error) || error instanceof ServerError) throw error;
    throw new ServerError('unreachable');
  }
  try {
    return await answer.json();
  } catch (error) {
    throw wasAborted(error) ? error : new ServerError('failed');
  }
}

export async function askPage(filters, sort, page, size, signal) {
  const answer = await ask(
    '/api/photos',
    { ...serverFilters(filters), sort, page: page + 1, page_size: size },
    signal,
  );
  if (!Number.isInteger(answer?.total) || !Array.isArray(answer.items)) {
    throw new ServerError('failed');
  }
  return answer;
}

/** Caches the last few answers of a slow route for `lifetime` milliseconds; no failures. */
function cached(lifetime, load) {
  const kept = new Map();
  return (parameters = {}) => {
    const key = queryText(parameters);
    const old = kept.get(key);
    if (old && performance.now() - old.at < lifetime) return old.answer;
    const answer = load(parameters);
    kept.delete(key);
    kept.set(key, { answer, at: performance.now() });
    if (kept.size > 3) kept.delete(kept.keys().next().value);
    answer.catch(() => kept.get(key)?.answer === answer && kept.delete(key));
    return answer;
  };
}

export const askStatistics = cached(30_000, async () => {
  const answer = await ask('/api/stats');
  if (!answer.totals) throw new ServerError('failed');
  return answer;
});

/** [{ id, hex }] in the store's order. */
export const askColours = cached(120_000, async (filters) => {
  const rows = await ask('/api/colors', filters);
  if (!Array.isArray(rows)) throw new ServerError('failed');
  return rows;
});

/** [{ id, lat, lon }] in the store's order. */
export const askPoints = cached(120_000, async (filters) => {
  const { features } = await ask('/api/geo', filters);
  if (!Array.isArray(features)) throw new ServerError('failed');
  return features.map(
    ({
      geometry: {
        coordinates: [lon, lat],
      },
      properties: { id },
    }) => ({ id, lat, lon }),
  );
});

/** The number of photos under the filters, also within an area. */
export async function countOf(filters) {
  if (filters.area) return (await pointsWithin(filters)).length;
  return (await askPage(filters, 'newest', 0, 1)).total;
}

/** The points under the filters, also within an area. */
export async function pointsWithin(filters) {
  const points = await askPoints(serverFilters(filters));
  const area = filters.area ? readArea(filters.area) : null;
  return area === null
    ? points
    : points.filter(
        ({ lat, lon }) =>
          lon >= area.west && lon <= area.east && lat >= area.south && lat <= area.north,
      );
}

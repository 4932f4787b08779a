// SPDX-License-Identifier: GPL-3.0-or-later
import { tidyFilters } from './filters.js';

const SORTS = ['newest', 'oldest', 'added'];
export const VIEWS = {
  gallery: 'Gallery',
  colours: 'Colours',
  map: 'Map',
  statistics: 'Statistics',
};

export function readAddress(search) {
  const query = new URLSearchParams(search);
  const at = Number(query.get('at') ?? NaN);
  return {
    view: Object.hasOwn(VIEWS, query.get('view') ?? '') ? query.get('view') : 'gallery',
    sort: SORTS.includes(query.get('sort')) ? query.get('sort') : 'newest',
    filters: tidyFilters(Object.fromEntries(query)),
    photo: query.get('photo') || null,
    at: Number.isSafeInteger(at) && at >= 0 ? at : null,
    camera: readCamera(query.get('centre') ?? ''),
  };
}

/** "lat,lon,zoom" of the map, or null. */
export function readCamera(text) {
  const [lat, lon, zoom] = text.split(',').map(Number);
  const good = Math.abs(lat) <= 90 && Math.abs(lon) <= 180 && zoom >= 0 && zoom <= 20;
  return good ? { lat, lon, zoom } : null;
}

/** A query string by the server's rules: blanks as %20, plain keys, empty without pairs. */
export function queryText(pairs) {
  const parts = Object.entries(pairs)
    .filter(([, value]) => value !== undefined && value !== null && value !== '')
    .map(([key, value]) => `${key}=${encodeURIComponent(value)}`);
  return parts.length ? `?${parts.join('&')}` : '';
}

export function addressOf(state) {
  const { camera } = state;
  return `/${queryText({
    view: state.view === 'gallery' ? '' : state.view,
    ...state.filters,
    sort: state.sort === 'newest' ? '' : state.sort,
    centre:
      state.view === 'map' && camera
        ? [camera.lat.toFixed(4), camera.lon.toFixed(4), camera.zoom.toFixed(2)].join(',')
        : '',
    photo: state.photo,
    at: state.photo ? state.at : null,
  })}`;
}

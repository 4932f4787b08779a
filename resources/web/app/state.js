// SPDX-License-Identifier: GPL-3.0-or-later

const VIEWS = { gallery: 'Gallery', colours: 'Colours', map: 'Map', statistics: 'Statistics' };

/**
 * The filters: how each is checked as it comes from the address, and how its chip
 * reads. The keys stand in the address as they do here. `size` is kept even if it
 * is no label of ours, as the server then simply doesn't narrow.
 */
const FILTERS = {
  q: { valid: (text) => text.trim() !== '', chip: (text) => `“${text}”` },
  year: { valid: (text) => /^\d{1,4}$/.test(text), chip: (text) => text },
  date_from: { valid: isDay, chip: (text) => `From ${dateText(dayFormat, text)}` },
  date_to: { valid: isDay, chip: (text) => `To ${dateText(dayFormat, text)}` },
  media_type: { chip: mediaName },
  ext: { chip: formatName },
  color: { chip: familyName },
  size: { chip: (text) => text },
  camera: { chip: (text) => text },
  no_camera: { valid: (text) => text === '1', chip: () => 'No camera' },
  place: { chip: (text) => text },
  tag: { chip: (text) => `Album: ${text}` },
  label: { chip: (text) => `Label: ${text}` },
  favorite: {
    valid: (text) => text === '0' || text === '1',
    chip: (text) => (text === '1' ? 'Favourites' : 'Not favourites'),
  },
  area: { valid: (text) => readArea(text) !== null, chip: () => 'Area on the map' },
};

function isDay(text) {
  const date = /^\d{4}-\d\d-\d\d$/.test(text) ? stampDate(text) : null;
  return date !== null && date.toISOString().slice(0, 10) === text;
}

/** "west,south,east,north" in degrees, or null. */
function readArea(text) {
  const numbers = text.split(',').map(Number);
  const good =
    numbers.length === 4 &&
    text.split(',').every((part) => part.trim() !== '') &&
    numbers.every(Number.isFinite) &&
    numbers[0] <= numbers[2] &&
    numbers[1] <= numbers[3];
  if (!good) return null;
  const [west, south, east, north] = numbers;
  return { west, south, east, north };
}

/** What can't hold together with a newer choice goes, as the server would ignore it anyway. */
function tidyFilters(filters) {
  const tidy = {};
  for (const [key, { valid }] of Object.entries(FILTERS)) {
    const text = filters[key];
    if (text === undefined || text === null || text === '') continue;
    if (!valid || valid(text)) tidy[key] = text;
  }
  if (tidy.date_from || tidy.date_to) delete tidy.year;
  if (tidy.no_camera) delete tidy.camera;
  return tidy;
}

function readAddress(search) {
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
function readCamera(text) {
  const [lat, lon, zoom] = text.split(',').map(Number);
  const good = Math.abs(lat) <= 90 && Math.abs(lon) <= 180 && zoom >= 0 && zoom <= 20;
  return good ? { lat, lon, zoom } : null;
}

/** The server's own rules for a query: blanks as %20, keys plain, no "?" without more. */
function queryText(pairs) {
  const parts = Object.entries(pairs)
    .filter(([, value]) => value !== undefined && value !== null && value !== '')
    .map(([key, value]) => `${key}=${encodeURIComponent(value)}`);
  return parts.length ? `?${parts.join('&')}` : '';
}

function addressOf(state) {
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

/** The filters as the server takes them. Its `date_to` ends at the day's first instant. */
function serverFilters({ area, ...filters }) {
  if (!filters.date_to) return filters;
  const end = stampDate(filters.date_to);
  end.setUTCDate(end.getUTCDate() + 1);
  return { ...filters, date_to: end.toISOString().slice(0, 10) };
}

const hasFilters = (filters) => Object.keys(filters).length > 0;

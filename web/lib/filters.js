// SPDX-License-Identifier: GPL-3.0-or-later
import { familyName } from './colourFamilies.js';
import { dateText, dayFormat, formatName, mediaName, stampDate } from './texts.js';

/**
 * The filters by their key in the address: which values are valid, and the text of
 * the chip. An unknown `size` is kept, since the server then doesn't filter by it.
 */
export const FILTERS = {
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
export function readArea(text) {
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

/** The valid filters only, without those that others override in the server. */
export function tidyFilters(filters) {
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

/**
 * The filters as the server takes them. The last day counts whole, so the server gets
 * the day after it as an exclusive bound. Areas are applied by the page.
 */
export function serverFilters({ area, date_to: lastDay, ...filters }) {
  if (!lastDay) return filters;
  const end = stampDate(lastDay);
  end.setUTCDate(end.getUTCDate() + 1);
  const next = end.toISOString();
  // The day after 9999-12-31 has a year of six digits, and bounds nothing.
  return next.startsWith('+') ? filters : { ...filters, date_before: next.slice(0, 10) };
}

export const hasFilters = (filters) => Object.keys(filters).length > 0;

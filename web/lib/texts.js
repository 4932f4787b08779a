// SPDX-License-Identifier: GPL-3.0-or-later

export const LOCALE = 'en-GB';
const wholeNumbers = new Intl.NumberFormat(LOCALE);
export const count = (n) => wholeNumbers.format(n);
export const plural = (n, one, many = `${one}s`) => `${count(n)} ${n === 1 ? one : many}`;

const MEDIA = { image: 'Photos', video: 'Videos', live_photo: 'Live Photos' };
export const MEDIUM = { image: 'Photo', video: 'Video', live_photo: 'Live Photo' };
/** ".heic" becomes "HEIC". */
export const formatName = (extension) =>
  extension.replace(/^\.+/, '').toUpperCase() || 'No extension';

export const mediaName = (type) => MEDIA[type] ?? type;

/** Decimal units as a file manager shows them; KB below a megabyte. */
export function byteText(bytes) {
  if (bytes < 1000) return plural(bytes, 'byte');
  const steps = [
    ['KB', 1e3, 0],
    ['MB', 1e6, 1],
    ['GB', 1e9, 2],
    ['TB', 1e12, 2],
  ];
  for (const [unit, size, digits] of steps) {
    const rounded = Number((bytes / size).toFixed(digits));
    if (rounded < 1000 || unit === 'TB') return `${rounded.toLocaleString(LOCALE)} ${unit}`;
  }
  return '';
}

/**
 * A wall-clock stamp of the server as an instant whose UTC fields are that wall
 * clock: it has no zone, so none may shift it. Null when it isn't one.
 */
export function stampDate(stamp) {
  const parts = /^(\d{4})-(\d\d)-(\d\d)(?:T(\d\d):(\d\d))?/.exec(stamp ?? '');
  if (!parts) return null;
  const [year, month, day, hour = 0, minute = 0] = parts.slice(1).map((part) => Number(part ?? 0));
  const date = new Date(Date.UTC(2000, month - 1, day, hour, minute));
  date.setUTCFullYear(year, month - 1, day);
  return date;
}

const formatter = (options) => new Intl.DateTimeFormat(LOCALE, { timeZone: 'UTC', ...options });
const monthFormat = formatter({ month: 'long', year: 'numeric' });
export const dayFormat = formatter({ day: 'numeric', month: 'short', year: 'numeric' });
export const fullFormat = formatter({
  weekday: 'short',
  day: 'numeric',
  month: 'short',
  year: 'numeric',
  hour: '2-digit',
  minute: '2-digit',
});

export const dateText = (format, stamp) => {
  const date = stampDate(stamp);
  return date ? format.format(date) : '';
};

/** '' is the month of what has no date. */
export const monthTitle = (month) => (month ? dateText(monthFormat, `${month}-01`) : 'No date');

export function placeOnEarth(lat, lon) {
  const part = (value, positive, negative) =>
    `${Math.abs(value).toFixed(4)}° ${value < 0 ? negative : positive}`;
  return `${part(lat, 'N', 'S')}, ${part(lon, 'E', 'W')}`;
}

export function photoLabel(item) {
  if (!item) return 'Photo, still loading';
  const parts = [MEDIUM[item.media_type] ?? 'Photo'];
  if (item.original_filename) parts.push(item.original_filename);
  if (item.capture_date) parts.push(dateText(dayFormat, item.capture_date));
  if (item.favorite) parts.push('favourite');
  return parts.join(', ');
}

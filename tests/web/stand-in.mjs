// SPDX-License-Identifier: GPL-3.0-or-later
// Stands in for the two programs of the build while they aren't there:
//
//   node stand-in.mjs make --support DIR --photos N
//   node stand-in.mjs serve --support DIR --port N [--password P]
import { createServer } from 'node:http';
import { createHash } from 'node:crypto';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

const [mode, ...rest] = process.argv.slice(2);
const options = Object.fromEntries(
  rest.flatMap((word, i) => (word.startsWith('--') ? [[word.slice(2), rest[i + 1]]] : [])),
);
const thumbs = join(options.support, 'cache', 'thumbs');
const catalog = join(options.support, 'catalog.json');

let seed = 7;
function random() {
  seed = (seed + 0x6d2b79f5) | 0;
  let t = Math.imul(seed ^ (seed >>> 15), 1 | seed);
  t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
  return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
}
const pick = (list) => list[Math.floor(random() * list.length)];
const pad = (n) => String(n).padStart(2, '0');

const CITIES = [
  ['Munich', 'Germany', 48.14, 11.58],
  ['Lisbon', 'Portugal', 38.72, -9.14],
  ['Reykjavik', 'Iceland', 64.15, -21.94],
  ['Kyoto', 'Japan', 35.01, 135.77],
  ['Cape Town', 'South Africa', -33.92, 18.42],
  ['Lima', 'Peru', -12.05, -77.04],
  ['Auckland', 'New Zealand', -36.85, 174.76],
  ['New York', 'United States', 40.71, -74.01],
  ['Suva', 'Fiji', -18.14, 178.44],
  ['Oslo', 'Norway', 59.91, 10.75],
  ['Innsbruck', 'Austria', 47.27, 11.39],
  ['Venice', 'Italy', 45.44, 12.32],
];
const CAMERAS = [
  ['Canon', 'Canon EOS R6'],
  ['Apple', 'iPhone 13 Pro'],
  ['SONY', 'ILCE-7M3'],
  ['NIKON CORPORATION', 'NIKON D750'],
  ['FUJIFILM', 'X-T4'],
  ['', ''],
];
const ODD = [
  '<img src=x onerror="document.title=1">.jpg',
  '"quoted" & \'single\' <b>bold</b>.jpg',
  '🏔️ Gipfel 👨‍👩‍👧 ünïcödé.heic',
  'a'.repeat(180) + '.jpg',
  'עברית – תמונה.jpg',
];
const LABELS = [
  'Beach',
  'Mountain',
  'Snow',
  'Food',
  'Dog',
  'Cat',
  'Sunset',
  'City',
  'Forest',
  'Portrait',
  'Night',
  'Flower',
];
const ALBUMS = ['Summer holidays', 'Family', 'Iceland trip', '<i>Best of</i> & "more"', 'Work'];

function make() {
  const photos = [];
  for (let i = 0; i < Number(options.photos); i++) {
    const year = 2025 - Math.floor(random() ** 1.6 * 20);
    const hue = Math.floor(random() * 360),
      grey = random() < 0.12;
    const rgb = hslToRgb(
      random() < 0.5 ? 205 + random() * 30 : hue,
      grey ? 0.04 : 0.2 + random() * 0.6,
      0.25 + random() * 0.5,
    );
    const hex = `#${rgb.map((n) => n.toString(16).padStart(2, '0')).join('')}`;
    const city = random() < 0.45 ? pick(CITIES) : null;
    const media = random() < 0.04 ? 'video' : random() < 0.1 ? 'live_photo' : 'image';
    const [make_, model] = pick(CAMERAS);
    const [w, h] = random() < 0.3 ? [3024, 4032] : [6000, 4000];
    const ext =
      media === 'video'
        ? '.mov'
        : media === 'live_photo'
          ? '.heic'
          : pick(['.jpg', '.jpg', '.jpg', '.heic', '.png', '.dng']);
    const month = 1 + Math.floor(random() * 12);
    photos.push({
      id: createHash('sha256').update(`photo ${i}`).digest('hex'),
      original_filename: ODD[i] ?? `IMG_${1000 + i}${ext.toUpperCase()}`,
      media_type: media,
      capture_date:
        i % 150 === 149
          ? undefined
          : `${year}-${pad(month)}-${pad(1 + Math.floor(random() * 28))}T${pad(Math.floor(random() * 24))}:${pad(Math.floor(random() * 60))}:00`,
      dimensions: { width: w, height: h },
      favorite: random() < 0.06,
      edited: random() < 0.05,
      place: city ? { name: `${city[0]}, ${city[1]}`, city: city[0], country: city[1] } : {},
      camera: model ? { make: make_, model } : {},
      tags: random() < 0.25 ? [pick(ALBUMS)] : [],
      ml_labels: [...new Set([pick(LABELS), pick(LABELS)])].sort(),
      aesthetic_score: random() < 0.5 ? random() * 2 - 1 : undefined,
      average_color: { hex, rgb },
      size_bytes: Math.floor(random() ** 3 * 60e6) + 200_000,
      gps: city
        ? {
            lat: city[2] + (random() - 0.5) * (i % 5 ? 0.2 : 4),
            lon: city[3] + (random() - 0.5) * (i % 5 ? 0.2 : 3),
          }
        : undefined,
      extension: ext,
      target_path: `${year}/${year}-${pad(month)}/${'0'.repeat(60)}${ext}`,
      processed_at: `2025-06-${pad(1 + Math.floor((i / Number(options.photos)) * 28))}T10:${pad(Math.floor(i / 60) % 60)}:${pad(i % 60)}`,
    });
  }
  mkdirSync(thumbs, { recursive: true });
  writeFileSync(catalog, JSON.stringify(photos));
  photos.forEach((photo, i) => {
    if (i % 9 !== 8) writeFileSync(join(thumbs, `${photo.id}.jpg`), picture(photo, 400));
  });
}

function hslToRgb(h, s, l) {
  const f = (n) => {
    const k = (n + h / 30) % 12;
    return Math.round(255 * (l - s * Math.min(l, 1 - l) * Math.max(-1, Math.min(k - 3, 9 - k, 1))));
  };
  return [f(0), f(8), f(4)];
}

function picture(photo, size) {
  const n = parseInt(photo.id.slice(0, 6), 16);
  const [r, g, b] = photo.average_color.rgb;
  const tone = (k) =>
    `rgb(${[r, g, b].map((c) => Math.max(0, Math.min(255, Math.round(c * k)))).join()})`;
  const { width, height } = photo.dimensions;
  const w = Math.round(width > height ? size : (size * width) / height);
  const h = Math.round(width > height ? (size * height) / width : size);
  const hill = (base, k, step) => {
    let d = `M0 ${h}`;
    for (let i = 0; i <= 8; i++)
      d += ` L${(i * w) / 8} ${base + Math.sin(n * step + i * (0.7 + step)) * h * 0.09}`;
    return `<path d="${d} L${w} ${h}Z" fill="${tone(k)}"/>`;
  };
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${w}" height="${h}" viewBox="0 0 ${w} ${h}"><defs><linearGradient id="s" x2="0" y2="1"><stop stop-color="${tone(1.05)}"/><stop offset="1" stop-color="${tone(1.6)}"/></linearGradient></defs><rect width="100%" height="100%" fill="url(#s)"/><circle cx="${((n % 97) / 97) * w}" cy="${h * (0.15 + (n % 31) / 100)}" r="${h * (0.05 + (n % 7) / 90)}" fill="rgb(255,245,220)" opacity=".85"/>${hill(h * 0.58, 0.85, 0.31)}${hill(h * 0.7, 0.6, 0.57)}${hill(h * 0.84, 0.36, 0.83)}</svg>`;
}

function matches(p, query) {
  const day = (text) => (/^\d{4}-\d\d-\d\d/.test(text) ? `${text.slice(0, 10)}T00:00:00` : null);
  if (query.date_from !== undefined || query.date_to !== undefined) {
    const from = day(query.date_from ?? ''),
      to = day(query.date_to ?? '');
    if (from && !(p.capture_date >= from)) return false;
    if (to && !(p.capture_date <= to)) return false;
  } else if (query.year && !p.capture_date?.startsWith(query.year)) return false;
  const is = (key, value) => query[key] === undefined || query[key] === value;
  const good =
    is('media_type', p.media_type) &&
    is('ext', p.extension) &&
    is('place', p.place.country) &&
    is('color', family(p)) &&
    (query.no_camera === '1' ? !p.camera.model : is('camera', p.camera.model)) &&
    (query.tag === undefined || p.tags.includes(query.tag)) &&
    (query.label === undefined || p.ml_labels.includes(query.label)) &&
    (query.favorite === undefined || p.favorite === (query.favorite === '1'));
  if (!good) return false;
  const size = SIZES.find(([name]) => name === query.size);
  if (size && !(p.size_bytes >= size[1] && p.size_bytes < size[2])) return false;
  if (!query.q) return true;
  const q = query.q.toLowerCase();
  return [p.original_filename, p.place.name ?? '', ...p.tags, ...p.ml_labels].some((t) =>
    t.toLowerCase().includes(q),
  );
}
const SIZES = [
  ['<500 KB', 0, 512000],
  ['500 KB–1 MB', 512000, 1048576],
  ['1–2 MB', 1048576, 2097152],
  ['2–5 MB', 2097152, 5242880],
  ['5–10 MB', 5242880, 10485760],
  ['10–50 MB', 10485760, 52428800],
  ['50 MB+', 52428800, Infinity],
];
const SWATCHES = {
  Red: '#e23b3b',
  Orange: '#e2873b',
  Yellow: '#e2d23b',
  Green: '#4caf50',
  Cyan: '#3bc7e2',
  Blue: '#3b6fe2',
  Purple: '#8d3be2',
  Pink: '#e23bb0',
  White: '#e8e8e8',
  Gray: '#9aa0a8',
  Black: '#2c2c2c',
};
function family(p) {
  const [r, g, b] = p.average_color.rgb.map((n) => n / 255);
  const hi = Math.max(r, g, b),
    lo = Math.min(r, g, b),
    l = (hi + lo) / 2,
    d = hi - lo;
  const s = d === 0 ? 0 : l > 0.5 ? d / (2 - hi - lo) : d / (hi + lo);
  if (s < 0.12) return l < 0.2 ? 'Black' : l > 0.85 ? 'White' : 'Gray';
  const h =
    60 * (hi === r ? (g - b) / d + (g < b ? 6 : 0) : hi === g ? (b - r) / d + 2 : (r - g) / d + 4);
  if (h < 15 || h >= 345) return 'Red';
  return [
    [45, 'Orange'],
    [65, 'Yellow'],
    [165, 'Green'],
    [195, 'Cyan'],
    [255, 'Blue'],
    [290, 'Purple'],
    [345, 'Pink'],
  ].find(([m]) => h < m)[1];
}

function facets(list, key) {
  const counts = new Map();
  for (const p of list)
    for (const v of [key(p)].flat()) if (v) counts.set(v, (counts.get(v) ?? 0) + 1);
  return [...counts].map(([id, n]) => ({ id, n })).sort((a, b) => b.n - a.n);
}

function answer(path, query, photos) {
  const list = photos.filter((p) => matches(p, query));
  if (path === '/api/photos') {
    const size = Math.min(200, Math.max(1, parseInt(query.page_size ?? '60', 10) || 60));
    const page = Math.max(1, parseInt(query.page ?? '1', 10) || 1);
    const by = (key, sign) => (a, b) =>
      sign * ((a[key] ?? '') < (b[key] ?? '') ? -1 : (a[key] ?? '') > (b[key] ?? '') ? 1 : 0);
    const sort = query.sort ?? 'added';
    list.sort(
      sort === 'added' ? by('processed_at', -1) : by('capture_date', sort === 'oldest' ? 1 : -1),
    );
    return {
      total: list.length,
      page,
      page_size: size,
      items: list.slice((page - 1) * size, page * size),
    };
  }
  if (path === '/api/colors') return list.map((p) => ({ id: p.id, hex: p.average_color.hex }));
  if (path === '/api/geo') {
    return {
      type: 'FeatureCollection',
      features: list
        .filter((p) => p.gps)
        .map((p) => ({
          type: 'Feature',
          geometry: { type: 'Point', coordinates: [p.gps.lon, p.gps.lat] },
          properties: { id: p.id },
        })),
    };
  }
  const all = photos;
  const colours = facets(all, family);
  return {
    totals: {
      total: all.length,
      favorites: all.filter((p) => p.favorite).length,
      edited: all.filter((p) => p.edited).length,
    },
    by_year: facets(all, (p) => p.capture_date?.slice(0, 4)).sort((a, b) => (a.id < b.id ? -1 : 1)),
    by_media: facets(all, (p) => p.media_type),
    by_format: facets(all, (p) => p.extension).slice(0, 20),
    top_albums: facets(all, (p) => p.tags),
    top_labels: facets(all, (p) => p.ml_labels),
    top_places: facets(all, (p) => p.place.country),
    cameras: facets(all, (p) => p.camera.model),
    no_camera: all.filter((p) => !p.camera.model).length,
    by_size: SIZES.map(([id, lo, hi]) => ({
      id,
      n: all.filter((p) => p.size_bytes >= lo && p.size_bytes < hi).length,
    })).filter(({ n }) => n),
    last_import: all.at(-1)?.processed_at,
    colors: Object.entries(SWATCHES)
      .map(([name, hex]) => ({ name, hex, n: colours.find((c) => c.id === name)?.n ?? 0 }))
      .filter(({ n }) => n),
    avg_color: all.length ? '#6f8899' : undefined,
    color_split: { color: all.length, bw: Math.floor(all.length / 8) },
  };
}

function serve() {
  const photos = JSON.parse(readFileSync(catalog, 'utf8'));
  const web = options.web;
  const files = {
    '/': ['index.html', 'text/html; charset=utf-8'],
    '/index.html': ['index.html', 'text/html; charset=utf-8'],
    '/app.js': ['app.js', 'application/javascript'],
    '/styles.css': ['styles.css', 'text/css'],
    '/vendor/chart.umd.min.js': ['vendor/chart.umd.min.js', 'application/javascript'],
  };
  createServer((request, response) => {
    const send = (code, type, body, headers = {}) => {
      response.writeHead(code, { 'Content-Type': type, Connection: 'close', ...headers });
      response.end(body);
    };
    if (options.password) {
      const given = Buffer.from(
        (request.headers.authorization ?? '').slice(6),
        'base64',
      ).toString();
      if (given.slice(given.indexOf(':') + 1) !== options.password || !given) {
        send(401, 'text/plain', 'Authentication required.', {
          'WWW-Authenticate': 'Basic realm="Vaultmere Gallery", charset="UTF-8"',
        });
        return;
      }
    }
    const [path, text = ''] = request.url.split('?');
    const query = Object.fromEntries(
      text
        .split('&')
        .filter(Boolean)
        .map((part) => {
          const [key, value = ''] = part.split('=');
          return [key, decodeURIComponent(value)];
        }),
    );
    if (files[path]) send(200, files[path][1], readFileSync(join(web, files[path][0])));
    else if (path.startsWith('/api/'))
      send(200, 'application/json', JSON.stringify(answer(path, query, photos)));
    else if (path.startsWith('/thumb/')) {
      try {
        const bytes = readFileSync(join(thumbs, `${path.slice(7)}.jpg`));
        send(200, bytes[0] === 60 ? 'image/svg+xml' : 'image/jpeg', bytes, {
          'Cache-Control': 'max-age=86400',
        });
      } catch {
        send(404, 'text/plain', '');
      }
    } else if (path.startsWith('/img/')) {
      const photo = photos.find((p) => p.id === path.slice(5));
      if (!photo || photo.extension === '.dng') send(404, 'text/plain', '');
      else send(200, 'image/svg+xml', picture(photo, 2000), { 'Cache-Control': 'max-age=86400' });
    } else send(404, 'text/plain', '');
  }).listen(Number(options.port), '127.0.0.1', () => console.log(`listening on ${options.port}`));
}

if (mode === 'make') make();
else serve();

// SPDX-License-Identifier: GPL-3.0-or-later
// Makes world.json, the outlines that the gallery's map draws, out of a TopoJSON
// file of Natural Earth's countries. It was run once; README.md says on what.
//
//   node make-outlines.mjs countries-50m.json > world.json
//
// Lines are thinned to about two kilometres and stored as differences in
// hundredths of a degree, each a number of base-64 digits: five bits a digit,
// least significant first, the sixth bit says that more follow, and the sign
// sits in the lowest bit. lib/outlines.js reads them back.
import { readFileSync } from 'node:fs';

const SCALE = 100;
const TOLERANCE = 0.02;
const DIGITS = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_';

const topology = JSON.parse(readFileSync(process.argv[2], 'utf8'));
const { scale, translate } = topology.transform;

/** Goes on beyond 180 degrees where a line crosses the date line. */
function unwrap(points) {
  let last = points[0]?.[0];
  return points.map(([lon, lat]) => {
    last = lon - 360 * Math.round((lon - last) / 360);
    return [last, lat];
  });
}

const arcs = topology.arcs.map((arc) => {
  let x = 0,
    y = 0;
  return unwrap(
    arc.map(([dx, dy]) => {
      x += dx;
      y += dy;
      return [x * scale[0] + translate[0], y * scale[1] + translate[1]];
    }),
  );
});

/** Douglas and Peucker: keeps the ends, and what strays by more than the tolerance. */
function thin(points, tolerance) {
  const keep = new Set([0, points.length - 1]);
  const spans = [[0, points.length - 1]];
  while (spans.length) {
    const [from, to] = spans.pop();
    const [ax, ay] = points[from],
      [bx, by] = points[to];
    const length = Math.hypot(bx - ax, by - ay);
    let worst = tolerance,
      at = -1;
    for (let i = from + 1; i < to; i++) {
      const [px, py] = points[i];
      const away =
        length === 0
          ? Math.hypot(px - ax, py - ay)
          : Math.abs((bx - ax) * (ay - py) - (ax - px) * (by - ay)) / length;
      if (away > worst) {
        worst = away;
        at = i;
      }
    }
    if (at >= 0) {
      keep.add(at);
      spans.push([from, at], [at, to]);
    }
  }
  return points.filter((_, i) => keep.has(i));
}

function encode(number) {
  let rest = number < 0 ? -number * 2 - 1 : number * 2;
  let text = '';
  do {
    const digit = rest % 32;
    rest = Math.floor(rest / 32);
    text += DIGITS[rest > 0 ? digit + 32 : digit];
  } while (rest > 0);
  return text;
}

function encodeLine(points) {
  let x = 0,
    y = 0,
    text = '';
  for (const [lon, lat] of points) {
    const qx = Math.round(lon * SCALE),
      qy = Math.round(lat * SCALE);
    if (text && qx === x && qy === y) continue;
    text += encode(qx - x) + encode(qy - y);
    x = qx;
    y = qy;
  }
  return text;
}

const polygonsOf = (geometry) =>
  geometry.type === 'Polygon'
    ? [geometry.arcs]
    : geometry.type === 'MultiPolygon'
      ? geometry.arcs
      : geometry.type === 'GeometryCollection'
        ? geometry.geometries.flatMap(polygonsOf)
        : [];

const coordinates = (ring) =>
  unwrap(ring.flatMap((i) => (i < 0 ? [...arcs[~i]].reverse() : arcs[i]).slice(1)));

function areaAndCentre(points) {
  let area = 0,
    cx = 0,
    cy = 0;
  points.forEach(([x, y], i) => {
    const [nx, ny] = points[(i + 1) % points.length];
    const cross = x * ny - nx * y;
    area += cross;
    cx += (x + nx) * cross;
    cy += (y + ny) * cross;
  });
  return { area: Math.abs(area / 2), centre: [cx / (3 * area), cy / (3 * area)] };
}

// A line that two countries share is a border, one that one country has a coast.
const users = new Map();
for (const country of topology.objects.countries.geometries)
  for (const index of new Set(
    polygonsOf(country)
      .flat(2)
      .map((i) => (i < 0 ? ~i : i)),
  ))
    users.set(index, (users.get(index) ?? 0) + 1);

const land = polygonsOf(topology.objects.land);
const used = new Map();
const lines = [];
const use = (i) => {
  const plain = i < 0 ? ~i : i;
  if (!used.has(plain)) {
    used.set(plain, lines.length);
    const line = arcs[plain];
    let thinned = thin(line, TOLERANCE);
    if (thinned.length < 5 && line.length >= 5) thinned = thin(line, TOLERANCE / 8);
    lines.push(encodeLine(thinned));
  }
  return i < 0 ? ~used.get(plain) : used.get(plain);
};
const rings = land.flat().map((ring) => ring.map(use));
const borders = [...users].filter(([, count]) => count > 1).map(([i]) => use(i));

const names = topology.objects.countries.geometries
  .flatMap((country) => {
    const largest = polygonsOf(country)
      .map((polygon) => areaAndCentre(coordinates(polygon[0])))
      .sort((a, b) => b.area - a.area)[0];
    if (!largest || !country.properties.name) return [];
    const [lon, lat] = largest.centre;
    const weight = largest.area * Math.cos((lat * Math.PI) / 180);
    return [[country.properties.name, +lon.toFixed(1), +lat.toFixed(1), +weight.toPrecision(2)]];
  })
  .sort((a, b) => b[3] - a[3]);

process.stdout.write(
  `${JSON.stringify({
    source: 'Natural Earth 4.1.0, 1:50m countries, public domain (naturalearthdata.com)',
    scale: SCALE,
    lines: lines.join(' '),
    land: rings,
    borders,
    names,
  })}\n`,
);

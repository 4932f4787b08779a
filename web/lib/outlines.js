// SPDX-License-Identifier: GPL-3.0-or-later
//
// Decodes the outlines of Natural Earth's countries (outlines/README.md).
import { mercatorX, mercatorY } from './mercator.js';
import WORLD from '../outlines/world.json';

/** The points of a line: differences, five bits a digit, the lowest bit is the sign. */
function decodeLine(text, scale) {
  const digits = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_';
  const numbers = [];
  let value = 0,
    unit = 1;
  for (const letter of text) {
    const digit = digits.indexOf(letter);
    value += (digit & 31) * unit;
    unit *= 32;
    if (digit & 32) continue;
    numbers.push(value % 2 ? -(value + 1) / 2 : value / 2);
    value = 0;
    unit = 1;
  }
  const points = [];
  let lon = 0,
    lat = 0;
  for (let i = 0; i + 1 < numbers.length; i += 2) {
    lon += numbers[i];
    lat += numbers[i + 1];
    points.push([lon / scale, lat / scale]);
  }
  return points;
}

/** A shape on the map: its points and their bounding box. The pole lies far below. */
function shapeOf(points) {
  const path = points.map(([lon, lat]) => [mercatorX(lon), lat > -90 ? mercatorY(lat) : 9]);
  const xs = path.map(([x]) => x),
    ys = path.map(([, y]) => y);
  return {
    path,
    left: Math.min(...xs),
    right: Math.max(...xs),
    top: Math.min(...ys),
    bottom: Math.max(...ys),
  };
}

/** A ring of lines; across the date line it continues beyond the map's edge. */
function ringOf(indexes, lines) {
  const points = [];
  for (const index of indexes) {
    const line = index < 0 ? [...lines[~index]].reverse() : lines[index];
    for (const [lon, lat] of points.length ? line.slice(1) : line) {
      const last = points.at(-1)?.[0] ?? lon;
      points.push([lon - 360 * Math.round((lon - last) / 360), lat]);
    }
  }
  return points;
}

/** Closes a ring that runs once around the world at the pole. */
function filled(ring) {
  const first = ring[0][0],
    last = ring.at(-1)[0];
  return Math.abs(last - first) > 180 ? [...ring, [last, -90], [first, -90]] : ring;
}

let world = null;

/** The shapes and names to draw, decoded at the first call. */
export function worldOutlines() {
  if (world) return world;
  const lines = WORLD.lines.split(' ').map((text) => decodeLine(text, WORLD.scale));
  const rings = WORLD.land.map((ring) => ringOf(ring, lines));
  world = {
    land: rings.map((ring) => shapeOf(filled(ring))),
    coasts: rings.map(shapeOf),
    borders: WORLD.borders.map((index) => shapeOf(lines[index < 0 ? ~index : index])),
    names: WORLD.names.map(([name, lon, lat, weight]) => ({
      name,
      x: mercatorX(lon),
      y: mercatorY(lat),
      size: Math.sqrt(weight),
    })),
  };
  return world;
}

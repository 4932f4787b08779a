// SPDX-License-Identifier: GPL-3.0-or-later
//
// The coordinates of Natural Earth's countries in a compact form, put in here when the
// page is built. A map with its height and width from 0 to 1 is made of them.

const WORLD = '@WORLD_OUTLINES@';
const HIGHEST_LATITUDE = 85.0511;

const mercatorX = (lon) => (lon + 180) / 360;
const mercatorY = (lat) => {
  const angle = (clamp(lat, -HIGHEST_LATITUDE, HIGHEST_LATITUDE) * Math.PI) / 180;
  return 0.5 - Math.log(Math.tan(Math.PI / 4 + angle / 2)) / (2 * Math.PI);
};
const longitude = (x) => x * 360 - 180;
const latitude = (y) => (Math.atan(Math.sinh(Math.PI * (1 - 2 * y))) * 180) / Math.PI;

/** The numbers of a line: differences, five bits a digit, the lowest bit is the sign. */
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

/** A shape on the map: its points and the box around them. The pole lies far below. */
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

/** A ring of lines; where it passes the date line, it goes on beyond the map's edge. */
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

/** A ring that goes once around the world lies around the pole, and is closed there. */
function filled(ring) {
  const first = ring[0][0],
    last = ring.at(-1)[0];
  return Math.abs(last - first) > 180 ? [...ring, [last, -90], [first, -90]] : ring;
}

let world = null;
function worldOutlines() {
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

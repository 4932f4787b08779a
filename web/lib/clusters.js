// SPDX-License-Identifier: GPL-3.0-or-later
import { LOCALE } from './texts.js';

export const MAX_ZOOM = 15;
const CELL = 66; // pixels;

/**
 * Clusters points by the cells of a grid that is fixed to the map, so that panning
 * changes nothing. Larger cells absorb the neighbours that their marker would cover, so
 * that no two markers overlap. Coordinates go from 0 to 1.
 */
export function clustersOf(points, zoom) {
  const size = CELL / (256 * 2 ** zoom);
  const cells = new Map();
  const keyOf = (cx, cy) => cx * 67108864 + cy;
  points.forEach((point, index) => {
    const cx = Math.floor(point.x / size),
      cy = Math.floor(point.y / size);
    const key = keyOf(cx, cy);
    let cell = cells.get(key);
    if (!cell) cells.set(key, (cell = { key, cx, cy, members: [], x: 0, y: 0 }));
    cell.members.push(index);
    cell.x += point.x;
    cell.y += point.y;
  });
  const order = [...cells.values()].sort((a, b) => b.members.length - a.members.length);
  for (const cell of order) {
    cell.x /= cell.members.length;
    cell.y /= cell.members.length;
  }
  for (const cell of order) {
    if (cell.joined) continue;
    for (let i = 0; i < 9; i++) {
      const other = cells.get(keyOf(cell.cx - 1 + (i % 3), cell.cy - 1 + Math.floor(i / 3)));
      if (!other || other === cell || other.joined) continue;
      if (Math.hypot(other.x - cell.x, other.y - cell.y) > size) continue;
      cell.members = cell.members.concat(other.members);
      other.joined = true;
    }
  }
  return order.filter((cell) => !cell.joined);
}

/** The bounding box of points, with a margin for the rounding of an area. */
export function boxAround(points) {
  const xs = points.map(({ x }) => x),
    ys = points.map(({ y }) => y);
  const margin = 3e-7;
  const low = (list) => list.reduce((a, b) => Math.min(a, b)) - margin;
  const high = (list) => list.reduce((a, b) => Math.max(a, b)) + margin;
  return { left: low(xs), right: high(xs), top: low(ys), bottom: high(ys) };
}

export const shortCount = (n) =>
  n < 1000
    ? String(n)
    : n < 100_000
      ? `${(Math.floor(n / 100) / 10).toLocaleString(LOCALE)}k`
      : `${Math.floor(n / 1000)}k`;

// SPDX-License-Identifier: GPL-3.0-or-later
import { MAX_ZOOM } from './clusters.js';
import { clamp } from './functions.js';

/** Pixels around the world's edges, for markers there. */
const MARGIN = 50;
const WORLD_PIXELS = 256; // the world's width at zoom 0
const MAX_ZOOM_OF_FRAMES = 11;

/**
 * What a map shows: the point (x, y) of the map, from 0 to 1, at the middle of a view
 * of `size` { width, height }, and the zoom, by which the scale doubles at each step.
 * A value: each change gives another camera, whose view stays on the world.
 */
export class MapCamera {
  constructor({ x, y, zoom }, size) {
    const { width, height } = size;
    const widest = Math.log2(Math.max(width - 2 * MARGIN, 100) / WORLD_PIXELS);
    this.size = size;
    this.zoom = clamp(zoom, widest, MAX_ZOOM);
    const halfX = (width / 2 - MARGIN) / this.pixels,
      halfY = (height / 2 - MARGIN) / this.pixels;
    this.x = halfX >= 0.5 ? 0.5 : clamp(x, halfX, 1 - halfX);
    this.y = halfY >= 0.5 ? 0.5 : clamp(y, halfY, 1 - halfY);
  }

  /** The camera that shows all of some points. */
  static around(points, size) {
    let left = 1,
      right = 0,
      top = 1,
      bottom = 0;
    for (const { x, y } of points) {
      left = Math.min(left, x);
      right = Math.max(right, x);
      top = Math.min(top, y);
      bottom = Math.max(bottom, y);
    }
    const fit = Math.min(
      (size.width - 120) / Math.max(right - left, 1e-9),
      (size.height - 140) / Math.max(bottom - top, 1e-9),
    );
    const zoom = Math.min(Math.log2(fit / WORLD_PIXELS), MAX_ZOOM_OF_FRAMES);
    return new MapCamera({ x: (left + right) / 2, y: (top + bottom) / 2, zoom }, size);
  }

  /** The width of the whole map in pixels. */
  get pixels() {
    return WORLD_PIXELS * 2 ** this.zoom;
  }

  with(change) {
    return new MapCamera({ ...this, ...change }, this.size);
  }

  resized(size) {
    return new MapCamera(this, size);
  }

  movedBy(x, y) {
    return this.with({ x: this.x + x / this.pixels, y: this.y + y / this.pixels });
  }

  /** Zoomed by `steps`, so that the point (x, y) of the view stays where it is. */
  zoomedAt(steps, x, y) {
    const { zoom, pixels } = this.with({ zoom: this.zoom + steps });
    const dx = x - this.size.width / 2,
      dy = y - this.size.height / 2;
    return this.with({
      x: this.x + dx / this.pixels - dx / pixels,
      y: this.y + dy / this.pixels - dy / pixels,
      zoom,
    });
  }

  /** The camera at `share` of the way to another one. */
  towards(goal, share) {
    const between = (key) => this[key] + (goal[key] - this[key]) * share;
    return this.with({ x: between('x'), y: between('y'), zoom: between('zoom') });
  }

  /** The part of the map in view and `margin` pixels around it. */
  view(margin = 0) {
    const halfX = (this.size.width / 2 + margin) / this.pixels,
      halfY = (this.size.height / 2 + margin) / this.pixels;
    return {
      left: this.x - halfX,
      right: this.x + halfX,
      top: this.y - halfY,
      bottom: this.y + halfY,
    };
  }
}

// SPDX-License-Identifier: GPL-3.0-or-later
import { latitude, longitude, mercatorX, mercatorY } from '../lib/mercator.js';
import { worldOutlines } from '../lib/outlines.js';
import { themeColour } from '../lib/theme.js';

/** Degrees between the lines of the grid; the narrowest that fits is drawn. */
const STEPS = [30, 15, 10, 5, 2, 1, 0.5, 0.2, 0.1, 0.05, 0.02, 0.01];

/** Draws land, borders and names of the world on a canvas. */
export class WorldCanvas {
  #canvas;
  #pixels = 1;
  #left = 0;
  #top = 0;
  #width = 0;
  #height = 0;

  constructor(canvas) {
    this.#canvas = canvas;
  }

  /** Draws the view of a MapCamera. */
  draw(camera) {
    const { left, top } = camera.view();
    this.#pixels = camera.pixels;
    this.#left = left;
    this.#top = top;
    this.#width = camera.size.width;
    this.#height = camera.size.height;
    this.#paint(this.#sized());
  }

  /** Resizes the canvas if needed; returns its context. */
  #sized() {
    const dots = Math.min(devicePixelRatio, 2);
    const width = Math.round(this.#width * dots);
    const height = Math.round(this.#height * dots);
    if (this.#canvas.width !== width) this.#canvas.width = width;
    if (this.#canvas.height !== height) this.#canvas.height = height;
    const pen = this.#canvas.getContext('2d', { alpha: false });
    pen.setTransform(dots, 0, 0, dots, 0, 0);
    return pen;
  }

  #paint(pen) {
    const { land, coasts, borders, names } = worldOutlines();
    pen.fillStyle = themeColour('sea');
    pen.fillRect(0, 0, this.#width, this.#height);
    this.#drawGrid(pen);
    pen.fillStyle = themeColour('land');
    pen.strokeStyle = themeColour('coast');
    pen.lineWidth = 1;
    pen.lineJoin = 'round';
    this.#trace(pen, land);
    pen.fill('evenodd');
    this.#trace(pen, coasts);
    pen.stroke();
    pen.strokeStyle = themeColour('border');
    this.#trace(pen, borders);
    pen.stroke();
    this.#drawNames(pen, names);
  }

  #across(x) {
    return (x - this.#left) * this.#pixels;
  }

  #down(y) {
    return (y - this.#top) * this.#pixels;
  }

  /** Adds the shapes in view to the path, also those from across the date line. */
  #trace(pen, shapes) {
    pen.beginPath();
    for (const { path, left, right, top, bottom } of shapes) {
      if (this.#down(bottom) < -2 || this.#down(top) > this.#height + 2) continue;
      if ((right - left + bottom - top) * this.#pixels < 1) continue;
      for (const shift of [-1, 0, 1]) {
        if (this.#across(right + shift) < -2 || this.#across(left + shift) > this.#width + 2)
          continue;
        this.#traceOne(pen, path, shift);
      }
    }
  }

  /** Omits points that fall on the pixel of the one before. */
  #traceOne(pen, path, shift) {
    let lastX = Infinity;
    let lastY = Infinity;
    const end = path.length - 1;
    path.forEach(([x, y], i) => {
      const px = this.#across(x + shift);
      const py = this.#down(y);
      if (i === 0) pen.moveTo(px, py);
      else if (i === end || Math.abs(px - lastX) + Math.abs(py - lastY) > 1.2) pen.lineTo(px, py);
      else return;
      lastX = px;
      lastY = py;
    });
  }

  /** Meridians and parallels, for orientation where no coast is near. */
  #drawGrid(pen) {
    const right = this.#left + this.#width / this.#pixels;
    const bottom = this.#top + this.#height / this.#pixels;
    const step = STEPS.findLast((degrees) => (degrees / 360) * this.#pixels > 130) ?? STEPS[0];
    const first = (degrees) => Math.ceil(degrees / step) * step;
    pen.strokeStyle = themeColour('meridian');
    pen.lineWidth = 1;
    pen.beginPath();
    for (let lon = first(longitude(this.#left)); lon <= longitude(right); lon += step) {
      const x = Math.round(this.#across(mercatorX(lon))) + 0.5;
      pen.moveTo(x, 0);
      pen.lineTo(x, this.#height);
    }
    for (let lat = first(latitude(bottom)); lat <= latitude(this.#top); lat += step) {
      const y = Math.round(this.#down(mercatorY(lat))) + 0.5;
      pen.moveTo(0, y);
      pen.lineTo(this.#width, y);
    }
    pen.stroke();
  }

  /** Country names, larger countries first, each where it fits. */
  #drawNames(pen, names) {
    const taken = [];
    const meets = (a, b) =>
      a.left < b.right && a.right > b.left && a.top < b.bottom && a.bottom > b.top;
    pen.font = `500 11px ${getComputedStyle(document.body).fontFamily}`;
    pen.textAlign = 'center';
    pen.textBaseline = 'middle';
    pen.fillStyle = themeColour('name');
    for (const { name, x, y, size } of names) {
      const px = this.#across(x);
      const py = this.#down(y);
      if (px < 0 || py < 0 || px > this.#width || py > this.#height) continue;
      const half = pen.measureText(name).width / 2 + 6;
      if ((size / 360) * this.#pixels < half * 1.5) continue;
      const box = { left: px - half, top: py - 10, right: px + half, bottom: py + 10 };
      if (taken.some((other) => meets(box, other))) continue;
      taken.push(box);
      pen.fillText(name, px, py);
    }
  }
}

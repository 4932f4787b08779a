// SPDX-License-Identifier: GPL-3.0-or-later
import { el } from '../lib/dom.js';
import { clamp } from '../lib/functions.js';
import { imageAddress } from '../lib/server.js';
import { photoLabel } from '../lib/texts.js';
import { showThumb } from '../lib/thumbnails.js';

const MAX_SCALE = 8;

/** A picture of the lightbox: its thumbnail first, then the full one. */
export class Slide {
  element;
  done = false;
  failed = false;
  #picture;
  #thumb = el('img', { class: 'thumb', alt: '', draggable: false });
  #full = null;
  #stopThumb;
  #scale = 1;
  #x = 0;
  #y = 0;
  #whenDone;
  #label = '';

  constructor(id, whenDone) {
    this.id = id;
    this.#whenDone = whenDone;
    this.#picture = el('div', { class: 'picture' }, this.#thumb);
    this.element = el('div', { class: 'slide' }, this.#picture);
    this.#stopThumb = showThumb(this.#thumb, id);
  }

  /** Takes the record: the name for screen readers, shape and colour until a picture comes. */
  describe(item) {
    this.#label = item.bare ? 'Photo' : photoLabel(item);
    (this.#full ?? this.#thumb).alt = this.#label;
    const { width, height } = item.dimensions ?? {};
    if (width && height) this.element.style.setProperty('--form', `${width} / ${height}`);
    const colour = item.average_color?.hex;
    if (colour) this.element.style.setProperty('--colour', colour);
  }

  get zoomed() {
    return this.#scale > 1.01;
  }

  load() {
    if (this.#full) return;
    const full = el('img', {
      class: 'full',
      alt: this.#label,
      decoding: 'async',
      draggable: false,
    });
    this.#full = full;
    const settled = (failed) => {
      this.done = true;
      this.failed = failed;
      this.element.classList.toggle('ready', !failed);
      this.#whenDone();
    };
    full.addEventListener('load', () => settled(false));
    full.addEventListener('error', () => settled(true));
    full.src = imageAddress(this.id);
    this.#picture.append(full);
  }

  again() {
    this.#full?.remove();
    this.#full = null;
    this.done = this.failed = false;
    this.#whenDone();
  }

  stop() {
    this.#stopThumb();
    this.#full?.removeAttribute('src');
    this.element.remove();
  }

  // --- Zoom: the picture's centre is moved by (x, y) pixels and scaled around itself.

  /** Zooms so that the point (x, y) of the screen stays where it is. */
  zoomTo(scale, x, y) {
    const box = this.element.getBoundingClientRect();
    const px = (x ?? box.left + box.width / 2) - box.left - box.width / 2;
    const py = (y ?? box.top + box.height / 2) - box.top - box.height / 2;
    const next = clamp(scale, 1, MAX_SCALE);
    this.#x = px - ((px - this.#x) * next) / this.#scale;
    this.#y = py - ((py - this.#y) * next) / this.#scale;
    this.#scale = next;
    this.settle();
  }

  zoomBy(factor, x, y) {
    this.zoomTo(this.#scale * factor, x, y);
  }

  toggle(x, y) {
    this.zoomTo(this.zoomed ? 1 : 2.5, x, y);
  }

  panBy(x, y) {
    this.#x += x;
    this.#y += y;
    this.settle();
  }

  reset() {
    this.#scale = 1;
    this.settle();
  }

  /** Keeps a picture larger than the screen over all of it. */
  settle() {
    const { clientWidth: width, clientHeight: height } = this.element;
    const [w, h] = this.#shownSize(width, height);
    const roomX = Math.max(0, (w * this.#scale - width) / 2);
    const roomY = Math.max(0, (h * this.#scale - height) / 2);
    this.#x = clamp(this.#x, -roomX, roomX);
    this.#y = clamp(this.#y, -roomY, roomY);
    this.#picture.style.transform = this.zoomed
      ? `translate(${this.#x}px, ${this.#y}px) scale(${this.#scale})`
      : '';
    this.element.classList.toggle('zoomed', this.zoomed);
  }

  #shownSize(width, height) {
    const image = this.#full?.naturalWidth ? this.#full : this.#thumb;
    const { naturalWidth: w, naturalHeight: h } = image;
    if (!w || !h) return [width, height];
    const fit = Math.min(width / w, height / h);
    return [w * fit, h * fit];
  }
}

// SPDX-License-Identifier: GPL-3.0-or-later
import { queryText } from '../lib/address.js';
import {
  COLOURED,
  FAMILIES,
  familyHex,
  familyName,
  familyOf,
  hslOf,
} from '../lib/colourFamilies.js';
import { el } from '../lib/dom.js';
import { hasFilters, serverFilters } from '../lib/filters.js';
import { clamp } from '../lib/functions.js';
import { IdList } from '../lib/listings.js';
import { errorMessage, loadingMessage, message } from '../lib/messages.js';
import { go, state } from '../lib/navigation.js';
import { recordLookup } from '../lib/recordLookup.js';
import { askColours, countOf, pointsWithin } from '../lib/server.js';
import { count, plural } from '../lib/texts.js';
import { themeColour } from '../lib/theme.js';
import { showThumb } from '../lib/thumbnails.js';
import { chosenTileSize, TILE_SIZES } from '../lib/tileSizes.js';
import { setSummary } from './bar.js';
import { stateLink } from './links.js';

const HUE_BANDS = 30;

/**
 * Sorts colours by bands of hue, and within them alternately by rising and falling
 * lightness, which looks smoother than the hue alone. Greys follow from dark to light.
 */
function byHue(rows) {
  const swatches = rows.map(({ id, hex }) => {
    const { hue, sat, lum } = hslOf(hex);
    const band = sat < COLOURED ? HUE_BANDS : Math.floor(((hue + 15) % 360) / (360 / HUE_BANDS));
    return { id, hex, band, key: band % 2 ? 1 - lum : lum };
  });
  return swatches.sort((a, b) => a.band - b.band || a.key - b.key);
}

/**
 * All photos under the filters as blocks of their average colour, drawn on one canvas
 * of the window's size, which stays in place while the page scrolls.
 */
export class Colours {
  #root;
  #families = el('div', { class: 'families' });
  #field = el('div', {
    class: 'field-of-colour',
    tabIndex: 0,
    role: 'application',
    'aria-roledescription': 'colour field',
  });
  #canvas = el('canvas', { 'aria-hidden': 'true' });
  #preview = el('div', { class: 'preview', hidden: true });
  #status = el('p', { class: 'unseen', role: 'status' });
  #swatches = [];
  #columns = 1;
  #block = 16;
  #frame = 0;
  #cursor = -1;
  #key = null;
  #stopPreview = null;
  listing = null;

  constructor(root) {
    this.#root = root;
    this.#field.append(this.#canvas);
    addEventListener('scroll', () => this.#drawSoon(), { passive: true });
    new ResizeObserver(() => this.#layout()).observe(root);
    this.#field.addEventListener(
      'pointermove',
      (event) => event.pointerType === 'mouse' && this.#point(this.#indexAt(event)),
    );
    this.#field.addEventListener('pointerleave', () => this.#point(-1));
    this.#field.addEventListener('blur', () => this.#point(-1));
    this.#field.addEventListener('click', (event) => this.#open(this.#indexAt(event)));
    this.#field.addEventListener('keydown', (event) => this.#keyDown(event));
  }

  async show(filters, again = false) {
    const key = queryText(filters);
    if (key === this.#key && !again) {
      this.#layout();
      return;
    }
    this.#key = key;
    this.#point(-1);
    this.#swatches = [];
    this.#root.replaceChildren(loadingMessage('Mixing the colours'));
    const source = this.#load(filters);
    this.listing = new IdList(() => source);
    try {
      await source;
      if (key === this.#key) this.#draw();
    } catch (error) {
      if (key !== this.#key) return;
      this.#key = null;
      this.#root.replaceChildren(errorMessage(error, () => this.show(filters, true)));
    }
  }

  async #load(filters) {
    const { area, ...others } = filters;
    let rows = await askColours(serverFilters(others));
    if (area) {
      const inside = new Set((await pointsWithin(filters)).map(({ id }) => id));
      rows = rows.filter(({ id }) => inside.has(id));
    }
    const swatches = byHue(rows.filter(({ hex }) => /^#[0-9a-f]{6}$/i.test(hex)));
    if (queryText(filters) === this.#key) this.#swatches = swatches;
    return { ids: swatches.map(({ id }) => id), find: recordLookup(askColours, others) };
  }

  #draw() {
    const total = this.#swatches.length;
    setSummary(plural(total, 'photo'), total ? 'by colour' : '');
    if (total === 0) {
      this.#root.replaceChildren(
        message(
          'No colours',
          hasFilters(state.filters)
            ? 'No photos with an average colour match these filters.'
            : 'No photos with an average colour yet.',
        ),
      );
      return;
    }
    this.#families.replaceChildren();
    this.#drawFamilies();
    this.#root.replaceChildren(this.#families, this.#field, this.#preview, this.#status);
    this.#field.setAttribute(
      'aria-label',
      `${plural(total, 'photo')} as blocks of colour, by hue. ` +
        'Arrow keys move between them, Enter opens one.',
    );
    this.#layout();
  }

  /**
   * Asks the server for each family's total, since black and white photos belong to none.
   * A total that can't be fetched is omitted.
   */
  async #drawFamilies() {
    const key = this.#key;
    const { filters } = state;
    const present = new Set(this.#swatches.map(({ hex }) => familyOf(hex)));
    const counts = await Promise.all(
      Object.keys(FAMILIES)
        .filter((family) => present.has(family))
        .map(async (family) => [
          family,
          await countOf({ ...filters, color: family }).catch(() => null),
        ]),
    );
    if (key !== this.#key) return;
    this.#families.replaceChildren(
      ...counts
        .filter(([, n]) => n !== 0)
        .map(([family, n]) =>
          stateLink(
            { view: 'gallery', filters: { ...filters, color: family } },
            {
              class: 'family',
              'aria-label': [familyName(family), n && plural(n, 'photo')]
                .filter(Boolean)
                .join(', '),
            },
            el('i', { class: 'swatch', style: { '--colour': familyHex(family) } }),
            familyName(family),
            n && el('small', {}, count(n)),
          ),
        ),
    );
  }

  #layout() {
    if (this.#root.hidden || this.#swatches.length === 0 || !this.#field.isConnected) return;
    const width = this.#field.clientWidth;
    this.#columns = Math.max(1, Math.round(width / TILE_SIZES[chosenTileSize()].block));
    this.#block = width / this.#columns;
    this.#field.style.height = `${Math.ceil(this.#swatches.length / this.#columns) * this.#block}px`;
    this.#drawSoon();
  }

  redraw() {
    this.#layout();
  }

  #drawSoon() {
    if (this.#root.hidden || this.#swatches.length === 0) return;
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      this.#paint();
    });
  }

  #paint() {
    const box = this.#field.getBoundingClientRect();
    const from = Math.max(0, -box.top);
    const to = Math.min(box.height, innerHeight - box.top);
    const height = Math.max(0, to - from);
    const dots = Math.min(devicePixelRatio, 2);
    this.#canvas.width = Math.round(box.width * dots);
    this.#canvas.height = Math.round(height * dots);
    this.#canvas.style.height = `${height}px`;
    this.#canvas.style.transform = `translateY(${from}px)`;
    const pen = this.#canvas.getContext('2d', { alpha: false });
    pen.fillStyle = themeColour('bg');
    pen.fillRect(0, 0, this.#canvas.width, this.#canvas.height);
    const size = this.#block * dots;
    const firstRow = Math.floor(from / this.#block);
    const lastRow = Math.ceil(to / this.#block);
    for (let row = firstRow; row < lastRow; row++) {
      const y = Math.round((row * this.#block - from) * dots);
      const bottom = Math.round(((row + 1) * this.#block - from) * dots);
      for (let column = 0; column < this.#columns; column++) {
        const swatch = this.#swatches[row * this.#columns + column];
        if (!swatch) return;
        const x = Math.round(column * size);
        pen.fillStyle = swatch.hex;
        pen.fillRect(x, y, Math.round((column + 1) * size) - x, bottom - y);
      }
    }
  }

  #indexAt(event) {
    const box = this.#field.getBoundingClientRect();
    const column = Math.floor((event.clientX - box.left) / this.#block);
    const index = Math.floor((event.clientY - box.top) / this.#block) * this.#columns + column;
    return column >= 0 && column < this.#columns && index < this.#swatches.length ? index : -1;
  }

  /** Shows the preview of a block; none for -1. */
  #point(index) {
    if (index === this.#cursor) return;
    this.#cursor = index;
    this.#stopPreview?.();
    this.#stopPreview = null;
    this.#preview.hidden = index < 0;
    if (index < 0) return;
    const { id, hex } = this.#swatches[index];
    const box = this.#field.getBoundingClientRect();
    const x = ((index % this.#columns) + 0.5) * this.#block + box.left;
    const y = (Math.floor(index / this.#columns) + 0.5) * this.#block + box.top;
    const picture = el('img', { alt: '' });
    this.#preview.replaceChildren(el('div', {}, picture), el('span', {}, hex));
    this.#preview.style.setProperty('--colour', hex);
    this.#preview.style.left = `${clamp(x - 75, 8, innerWidth - 158)}px`;
    this.#preview.style.top = `${y > innerHeight / 2 ? y - this.#block - 184 : y + this.#block}px`;
    this.#stopPreview = showThumb(picture, id);
  }

  #open(index) {
    const swatch = this.#swatches[index];
    if (!swatch) return;
    this.#point(-1);
    go({ photo: swatch.id, at: index });
  }

  #keyDown(event) {
    const step = {
      ArrowLeft: -1,
      ArrowRight: 1,
      ArrowUp: -this.#columns,
      ArrowDown: this.#columns,
      Home: -Infinity,
      End: Infinity,
    }[event.key];
    if (event.key === 'Enter') this.#open(this.#cursor);
    else if (event.key === 'Escape') this.#point(-1);
    else if (step !== undefined) this.#moveCursor(step);
    else return;
    event.preventDefault();
  }

  #moveCursor(step) {
    const last = this.#swatches.length - 1;
    const index = this.#cursor < 0 ? 0 : clamp(this.#cursor + step, 0, last);
    const y =
      Math.floor(index / this.#columns) * this.#block + this.#field.getBoundingClientRect().top;
    if (y < 70 || y > innerHeight - 90) scrollBy(0, y - innerHeight / 2);
    this.#point(index);
    const { hex } = this.#swatches[index];
    this.#status.textContent = `${count(index + 1)} of ${count(last + 1)}, ${familyName(familyOf(hex))}, ${hex}`;
  }
}

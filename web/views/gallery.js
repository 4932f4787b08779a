// SPDX-License-Identifier: GPL-3.0-or-later
import { el } from '../lib/dom.js';
import { hasFilters } from '../lib/filters.js';
import { clamp, debounced } from '../lib/functions.js';
import { GridLayout } from '../lib/gridLayout.js';
import { errorMessage, loadingMessage, message } from '../lib/messages.js';
import { go, saveAnchor, state } from '../lib/navigation.js';
import { monthTitle } from '../lib/texts.js';
import { chosenTileSize, TILE_SIZES } from '../lib/tileSizes.js';
import { Tile } from './tile.js';

/** Pixels; browsers refuse much taller documents, so a taller gallery scrolls in proportion. */
const MAX_HEIGHT = 15_000_000;

/** Pixels at each edge of the window that bars may cover. */
const COVERED = 64;

/**
 * The grid of photos, of which only the tiles near the screen are in the document.
 *
 * `#top` is the height of the grid at the upper edge of the window; in a gallery taller
 * than MAX_HEIGHT it isn't the scroll position.
 */
export class Gallery {
  #root;
  #grid = el('div', { class: 'grid', role: 'list', 'aria-label': 'Photos' });
  #notice = el('div', { class: 'notice', role: 'alert', hidden: true });
  #bubble = el('div', { class: 'bubble', 'aria-hidden': 'true' });
  #listing = null;
  #layout = new GridLayout();
  #tile = 0;
  #row = 0;
  #gridTop = 0;
  #below = 0;
  #top = 0;
  #scrolled = 0;
  #scrolledAt = 0;
  #tiles = new Map(); // index → tile
  #headings = new Map(); // start of the section → element
  #focus = 0;
  #fast = false;
  #frame = 0;
  #anchor = null;
  #onOpen;
  #changed = () => this.#relayout();

  constructor(root, onOpen) {
    this.#root = root;
    this.#onOpen = onOpen;
    root.append(this.#grid, this.#notice, this.#bubble);
    this.#grid.addEventListener('keydown', (event) => this.#key(event));
    this.#grid.addEventListener('click', (event) => this.#click(event));
    addEventListener('scroll', () => this.#scroll(), { passive: true });
    new ResizeObserver(() => this.#relayout()).observe(root);
  }

  /** anchor: { index, shift } to scroll to once the total is known, as from `anchor()`. */
  show(listing, anchor = null) {
    if (this.#listing !== listing) {
      this.#listing?.removeEventListener('change', this.#changed);
      this.#listing = listing;
      listing.addEventListener('change', this.#changed);
      this.#layout = new GridLayout();
      this.#focus = 0;
      this.#clear();
    }
    this.#anchor = anchor;
    if (!anchor) scrollTo(0, 0);
    this.#relayout();
    if (listing.total === null) listing.want(0, 0, 'grid');
  }

  /** What stands at the upper edge of the window, as `show` takes it. */
  anchor() {
    if (this.#anchor) return this.#anchor;
    if (this.#top <= 0 || this.#layout.isEmpty) return null;
    const index = this.#layout.indexAt(this.#top);
    return { index, shift: this.#top - this.#layout.heightOf(index) };
  }

  /** Scrolls a photo into view if it isn't there, and focuses it. */
  reveal(index) {
    if (this.#listing?.total === null || index >= this.#listing.total) return;
    const top = this.#layout.heightOf(index);
    if (top < this.#top + COVERED || top + this.#tile > this.#top + innerHeight - COVERED) {
      this.#scrollTo(top - (innerHeight - this.#tile) / 2);
    }
    this.#focus = index;
    this.#render();
    this.#tiles.get(index)?.link.focus({ preventScroll: true });
  }

  redraw() {
    this.#clear();
    this.#relayout();
  }

  // --- Layout

  get #shown() {
    return !this.#root.hidden;
  }

  #relayout() {
    if (!this.#shown || !this.#listing) return;
    const anchor = this.anchor();
    const atEnd =
      !this.#anchor && this.#layout.height > innerHeight && this.#top >= this.#maxTop - 2;
    this.#announce();
    this.#measure();
    this.#grid.style.height = `${Math.min(this.#layout.height, MAX_HEIGHT)}px`;
    this.#below = document.documentElement.scrollHeight - this.#gridTop - this.#grid.clientHeight;
    if (this.#listing.total > 0) {
      if (atEnd) this.#scrollTo(this.#maxTop);
      else if (anchor)
        this.#scrollTo(
          this.#layout.heightOf(Math.min(anchor.index, this.#listing.total - 1)) + anchor.shift,
        );
      this.#anchor = null;
    }
    this.#top = this.#topOfWindow();
    this.#render();
  }

  #measure() {
    const width = this.#grid.clientWidth;
    const phone = innerWidth < 700;
    const gap = phone ? 2 : 4;
    const size = TILE_SIZES[chosenTileSize()];
    const columns = Math.max(
      1,
      Math.floor((width + gap) / ((phone ? size.phone : size.wide) + gap)),
    );
    this.#tile = (width - gap * (columns - 1)) / columns;
    this.#row = this.#tile + gap;
    this.#gridTop = this.#grid.getBoundingClientRect().top + scrollY;
    this.#grid.style.setProperty('--tile', `${this.#tile}px`);
    const { total, byMonth } = this.#listing;
    const runs = !total ? [] : byMonth ? this.#listing.months() : [[null, total]];
    this.#layout = new GridLayout({ runs, columns, row: this.#row, heading: phone ? 46 : 60 });
  }

  // --- Scrolling

  get #squeezed() {
    return this.#layout.height > MAX_HEIGHT;
  }

  /** The greatest possible `#top`. */
  get #maxTop() {
    return Math.max(0, this.#layout.height + this.#below - innerHeight);
  }

  /** The same, as a scroll position. */
  get #maxScroll() {
    return Math.max(0, Math.min(this.#layout.height, MAX_HEIGHT) + this.#below - innerHeight);
  }

  /** Short distances scroll a squeezed gallery pixel by pixel; far jumps go in proportion. */
  #topOfWindow() {
    const y = scrollY - this.#gridTop;
    if (!this.#squeezed || y <= 0) return y;
    if (y >= this.#maxScroll - 1) return this.#maxTop;
    const far = Math.abs(scrollY - this.#scrolled) > innerHeight * 3;
    return far
      ? (y / this.#maxScroll) * this.#maxTop
      : clamp(this.#top + scrollY - this.#scrolled, 0, this.#maxTop);
  }

  #scrollTo(height) {
    const within = clamp(height, -this.#gridTop, this.#maxTop);
    const y = this.#squeezed && within > 0 ? (within / this.#maxTop) * this.#maxScroll : within;
    if (Math.abs(scrollY - y - this.#gridTop) > 0.5) scrollTo(0, y + this.#gridTop);
    this.#scrolled = scrollY;
    this.#top = this.#squeezed ? within : scrollY - this.#gridTop;
  }

  #scroll() {
    if (!this.#shown || !this.#listing) return;
    const now = performance.now();
    const distance = Math.abs(scrollY - this.#scrolled);
    const speed = distance / Math.max(1, now - this.#scrolledAt);
    this.#top = this.#topOfWindow();
    this.#scrolled = scrollY;
    this.#scrolledAt = now;
    this.#fast = speed > 5 || distance > innerHeight * 2;
    this.#rest();
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      this.#render();
      this.#showBubble();
    });
  }

  /** Requests nothing while scrolling fast. */
  #rest = debounced(110, () => {
    this.#fast = false;
    if (!this.#shown) return;
    if (this.#squeezed) this.#scrollTo(this.#top);
    this.#render();
    saveAnchor();
    this.#hideBubble();
  });

  #hideBubble = debounced(700, () => this.#bubble.classList.remove('shown'));

  #showBubble() {
    if (!this.#listing.byMonth || this.#layout.isEmpty || this.#top < this.#row) {
      this.#bubble.classList.remove('shown');
      return;
    }
    const { month } = this.#layout.sectionAt(this.#top + COVERED);
    this.#bubble.textContent = month === undefined ? '…' : monthTitle(month);
    const share = scrollY / Math.max(1, document.documentElement.scrollHeight - innerHeight);
    this.#bubble.style.setProperty('--share', clamp(share, 0, 1).toFixed(4));
    this.#bubble.classList.add('shown');
  }

  // --- Drawing

  #clear() {
    for (const tile of this.#tiles.values()) tile.stop();
    this.#tiles.clear();
    this.#headings.clear();
    this.#grid.replaceChildren();
  }

  #announce() {
    const { total, error } = this.#listing;
    const again = () => this.#listing.tryAgain();
    const old = this.#root.querySelector('.message');
    let next = null;
    if (total === null)
      next = error ? errorMessage(error, again) : loadingMessage('Loading photos');
    else if (total === 0) next = emptyMessage();
    if (old?.textContent !== next?.textContent) {
      old?.remove();
      if (next) this.#root.prepend(next);
    }
    const failed = error !== null && total !== null;
    if (failed && this.#notice.hidden) {
      this.#notice.replaceChildren(
        el('span', {}, 'Some photos couldn’t be loaded. ', error.message),
        error.kind === 'locked'
          ? el('button', { type: 'button', on: { click: () => location.reload() } }, 'Reload')
          : el('button', { type: 'button', on: { click: again } }, 'Try again'),
      );
    }
    this.#notice.hidden = !failed;
    this.#grid.hidden = !total;
  }

  #render() {
    if (!this.#shown || !this.#listing?.total) return;
    const reach = Math.max(500, innerHeight * (this.#fast ? 0.3 : 0.8));
    const base = this.#squeezed ? scrollY - this.#gridTop - this.#top : 0;
    const indexes = new Set();
    const heads = new Map();
    for (const { section, first, last } of this.#layout.band(
      this.#top - reach,
      this.#top + innerHeight + reach,
    )) {
      if (section.head) heads.set(section.start, section);
      for (let i = first; i <= last; i++) indexes.add(i);
    }
    this.#drop(indexes, heads);
    if (!indexes.has(this.#focus)) this.#focus = this.#firstVisible();
    let cursor = this.#grid.firstChild;
    const put = (element) => {
      if (element === cursor) cursor = cursor.nextSibling;
      else this.#grid.insertBefore(element, cursor);
    };
    for (const index of indexes) {
      const section = heads.get(index);
      if (section) put(this.#drawHeading(section, base));
      put(this.#drawTile(index, base));
    }
    if (!this.#fast) this.#fetch();
  }

  #drop(indexes, heads) {
    for (const [index, tile] of this.#tiles) {
      if (indexes.has(index)) continue;
      tile.stop();
      tile.cell.remove();
      this.#tiles.delete(index);
    }
    for (const [start, heading] of this.#headings) {
      if (heads.has(start) && indexes.has(start)) continue;
      heading.remove();
      this.#headings.delete(start);
    }
  }

  #firstVisible() {
    const [stretch] = this.#layout.band(this.#top + COVERED, this.#top + innerHeight);
    return stretch?.first ?? 0;
  }

  #drawHeading(section, base) {
    let heading = this.#headings.get(section.start);
    if (!heading) {
      heading = el('h2', { class: 'month' });
      this.#headings.set(section.start, heading);
    }
    const title = monthTitle(section.month);
    if (heading.textContent !== title) heading.textContent = title;
    heading.style.transform = `translateY(${section.top + base}px)`;
    heading.style.height = `${section.head}px`;
    return heading;
  }

  #drawTile(index, base) {
    let tile = this.#tiles.get(index);
    if (!tile) {
      tile = new Tile(index);
      this.#tiles.set(index, tile);
    }
    tile.show(this.#listing.item(index), this.#listing.total, this.#fast);
    const column = this.#layout.columnOf(index);
    const top = this.#layout.heightOf(index) + base;
    tile.cell.style.transform = `translate(${column * this.#row}px, ${top}px)`;
    tile.link.tabIndex = index === this.#focus ? 0 : -1;
    return tile.cell;
  }

  #fetch() {
    let from = Infinity,
      to = 0;
    for (const { first, last } of this.#layout.band(
      this.#top - innerHeight,
      this.#top + innerHeight * 2.5,
    )) {
      from = Math.min(from, first);
      to = Math.max(to, last);
    }
    if (from !== Infinity) this.#listing.want(from, to, 'grid');
  }

  // --- Input

  #indexOf(target) {
    return Number(target.closest('.cell')?.dataset.index ?? NaN);
  }

  #click(event) {
    const index = this.#indexOf(event.target);
    const id = this.#listing.id(index);
    if (id === undefined) {
      if (!Number.isNaN(index)) event.preventDefault();
      return;
    }
    if (event.metaKey || event.ctrlKey || event.shiftKey || event.button !== 0) return;
    event.preventDefault();
    this.#focus = index;
    this.#onOpen(index, id);
  }

  #key(event) {
    const index = this.#indexOf(event.target);
    if (Number.isNaN(index) || event.altKey || event.ctrlKey || event.metaKey) return;
    const last = this.#listing.total - 1;
    const next = {
      ArrowLeft: () => index - 1,
      ArrowRight: () => index + 1,
      ArrowUp: () => this.#layout.inNextRow(index, -1),
      ArrowDown: () => this.#layout.inNextRow(index, 1),
      Home: () => 0,
      End: () => last,
    }[event.key];
    if (!next) return;
    event.preventDefault();
    const goal = clamp(next(), 0, last);
    if (goal !== index) this.reveal(goal);
  }
}

function emptyMessage() {
  return hasFilters(state.filters)
    ? message('No matches', 'No photos match these filters.', {
        name: 'Clear the filters',
        run: () => go({ filters: {} }),
      })
    : message(
        'No photos yet',
        'Photos appear here as soon as Vaultmere has put the first ones into its archive.',
      );
}

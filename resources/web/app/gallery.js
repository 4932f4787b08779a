// SPDX-License-Identifier: GPL-3.0-or-later

const DENSITIES = {
  small: { phone: 84, wide: 120, name: 'Small tiles' },
  medium: { phone: 118, wide: 176, name: 'Medium tiles' },
  large: { phone: 180, wide: 260, name: 'Large tiles' },
};

/** Browsers refuse much taller documents; a taller gallery scrolls in proportion. */
const TALLEST = 15_000_000;

/**
 * The grid. It knows the place of every tile by arithmetic and holds only those near
 * the screen. A section is a month, or a stretch whose months nobody has looked up
 * yet: its rows stand a little apart, by the room that headings take elsewhere, and what
 * is on the screen stays put when the months are learnt.
 *
 * Heights are counted from the top of the grid. `#top` is the height at the upper
 * edge of the window; in a gallery taller than TALLEST it isn't the scroll position.
 */
class Gallery {
  #root;
  #grid = el('div', { class: 'grid', role: 'list', 'aria-label': 'Photos' });
  #notice = el('div', { class: 'notice', role: 'alert', hidden: true });
  #bubble = el('div', { class: 'bubble', 'aria-hidden': 'true' });
  #listing = null;
  #sections = [];
  #height = 0;
  #columns = 1;
  #tile = 0;
  #row = 0;
  #gap = 3;
  #heading = 56;
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
      this.#sections = [];
      this.#height = 0;
      this.#focus = 0;
      this.#clear();
    }
    this.#anchor = anchor;
    if (!anchor) scrollTo(0, 0);
    this.#relayout();
    if (listing.total === null) listing.want(0, 0, 'grid');
  }

  /** What stands at the upper edge of the window, to come back to. */
  anchor() {
    if (this.#anchor) return this.#anchor;
    if (this.#top <= 0 || this.#sections.length === 0) return null;
    const section = this.#sectionAt(this.#top);
    const row = Math.max(0, Math.floor((this.#top - section.top - section.head) / section.pitch));
    const index = Math.min(section.start + row * this.#columns, section.start + section.count - 1);
    return { index, shift: this.#top - this.#heightOf(index) };
  }

  /** Brings a photo on to the screen, if it isn't there, and the focus to it. */
  reveal(index) {
    if (this.#listing?.total === null || index >= this.#listing.total) return;
    const top = this.#heightOf(index);
    const covered = this.#covered();
    if (top < this.#top + covered || top + this.#tile > this.#top + innerHeight - covered) {
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

  /** Pixels at the edge of the window that bars lie over. */
  #covered() {
    return 64;
  }

  #relayout() {
    if (!this.#shown || !this.#listing) return;
    const anchor = this.anchor();
    const atEnd = !this.#anchor && this.#height > innerHeight && this.#top >= this.#most - 2;
    this.#announce();
    const width = this.#grid.clientWidth;
    const phone = innerWidth < 700;
    this.#gap = phone ? 2 : 4;
    this.#heading = phone ? 46 : 60;
    const density = DENSITIES[taste.read('density', 'medium')] ?? DENSITIES.medium;
    const least = phone ? density.phone : density.wide;
    this.#columns = Math.max(1, Math.floor((width + this.#gap) / (least + this.#gap)));
    this.#tile = (width - this.#gap * (this.#columns - 1)) / this.#columns;
    this.#row = this.#tile + this.#gap;
    this.#gridTop = this.#grid.getBoundingClientRect().top + scrollY;
    this.#grid.style.setProperty('--tile', `${this.#tile}px`);
    this.#buildSections();
    this.#grid.style.height = `${Math.min(this.#height, TALLEST)}px`;
    this.#below = document.documentElement.scrollHeight - this.#gridTop - this.#grid.clientHeight;
    if (this.#listing.total > 0) {
      if (atEnd) this.#scrollTo(this.#most);
      else if (anchor)
        this.#scrollTo(
          this.#heightOf(Math.min(anchor.index, this.#listing.total - 1)) + anchor.shift,
        );
      this.#anchor = null;
    }
    this.#top = this.#topOfWindow();
    this.#render();
  }

  #buildSections() {
    this.#sections = [];
    const { total, byMonth } = this.#listing;
    if (!total) {
      this.#height = 0;
      return;
    }
    const runs = byMonth ? this.#listing.months() : [[null, total]];
    let extra = 0,
      known = 0;
    for (const [month, n] of runs) {
      if (month === undefined || month === null) continue;
      extra += this.#heading + this.#rows(n) * this.#row - (n / this.#columns) * this.#row;
      known += n;
    }
    const perPhoto = known ? extra / known : 0;
    let start = 0,
      top = 0;
    for (const [month, n] of runs) {
      const head = typeof month === 'string' ? this.#heading : 0;
      const guess = month === undefined ? n * perPhoto : 0;
      const pitch = this.#row + guess / this.#rows(n);
      this.#sections.push({ month, start, count: n, top, head, pitch });
      start += n;
      top += head + this.#rows(n) * pitch;
    }
    this.#height = top;
  }

  #rows(n) {
    return Math.ceil(n / this.#columns);
  }

  /** The last section that begins at or before what `place` of it says. */
  #search(value, place) {
    let low = 0,
      high = this.#sections.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.#sections[middle][place] <= value) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  #sectionAt(height) {
    return this.#sections[this.#search(height, 'top')];
  }

  #heightOf(index) {
    const section = this.#sections[this.#search(index, 'start')];
    return (
      section.top +
      section.head +
      Math.floor((index - section.start) / this.#columns) * section.pitch
    );
  }

  // --- Scrolling

  get #squeezed() {
    return this.#height > TALLEST;
  }

  /** The greatest height that the upper edge of the window can come to. */
  get #most() {
    return Math.max(0, this.#height + this.#below - innerHeight);
  }

  /** The same, as a scroll position. */
  get #mostScrolled() {
    return Math.max(0, Math.min(this.#height, TALLEST) + this.#below - innerHeight);
  }

  /** Near by, a squeezed gallery scrolls pixel by pixel; far leaps go in proportion. */
  #topOfWindow() {
    const y = scrollY - this.#gridTop;
    if (!this.#squeezed || y <= 0) return y;
    if (y >= this.#mostScrolled - 1) return this.#most;
    const far = Math.abs(scrollY - this.#scrolled) > innerHeight * 3;
    return far
      ? (y / this.#mostScrolled) * this.#most
      : clamp(this.#top + scrollY - this.#scrolled, 0, this.#most);
  }

  #scrollTo(height) {
    const within = clamp(height, -this.#gridTop, this.#most);
    const y = this.#squeezed && within > 0 ? (within / this.#most) * this.#mostScrolled : within;
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

  /** Thumbnails and records that merely fly past aren't asked for. */
  #rest = whenQuiet(110, () => {
    this.#fast = false;
    if (!this.#shown) return;
    if (this.#squeezed) this.#scrollTo(this.#top);
    this.#render();
    rememberAnchor();
    this.#bubbleAway();
  });

  #bubbleAway = whenQuiet(700, () => this.#bubble.classList.remove('shown'));

  #showBubble() {
    if (!this.#listing.byMonth || this.#sections.length === 0 || this.#top < this.#row) {
      this.#bubble.classList.remove('shown');
      return;
    }
    const { month } = this.#sectionAt(this.#top + this.#covered());
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
    const broken = error !== null && total !== null;
    if (broken && this.#notice.hidden) {
      this.#notice.replaceChildren(
        el('span', {}, 'Some photos couldn’t be loaded. ', error.message),
        error.kind === 'locked'
          ? el('button', { type: 'button', on: { click: () => location.reload() } }, 'Reload')
          : el('button', { type: 'button', on: { click: again } }, 'Try again'),
      );
    }
    this.#notice.hidden = !broken;
    this.#grid.hidden = !total;
  }

  /** The stretches of indexes in a band of heights, section by section. */
  *#band(from, to) {
    if (this.#sections.length === 0) return;
    for (let i = this.#search(from, 'top'); i < this.#sections.length; i++) {
      const section = this.#sections[i];
      if (section.top > to) return;
      const body = section.top + section.head;
      const firstRow = Math.max(0, Math.floor((from - body) / section.pitch));
      const lastRow = Math.floor((to - body) / section.pitch);
      const first = section.start + firstRow * this.#columns;
      const last = Math.min(section.count, (lastRow + 1) * this.#columns) + section.start - 1;
      yield { section, first, last };
    }
  }

  #render() {
    if (!this.#shown || !this.#listing?.total) return;
    const reach = Math.max(500, innerHeight * (this.#fast ? 0.3 : 0.8));
    const base = this.#squeezed ? scrollY - this.#gridTop - this.#top : 0;
    const indexes = new Set();
    const heads = new Map();
    for (const { section, first, last } of this.#band(
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
    const [stretch] = this.#band(this.#top + this.#covered(), this.#top + innerHeight);
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
    const section = this.#sections[this.#search(index, 'start')];
    const column = (index - section.start) % this.#columns;
    const top = this.#heightOf(index) + base;
    tile.cell.style.transform = `translate(${column * this.#row}px, ${top}px)`;
    tile.link.tabIndex = index === this.#focus ? 0 : -1;
    return tile.cell;
  }

  #fetch() {
    let from = Infinity,
      to = 0;
    for (const { first, last } of this.#band(
      this.#top - innerHeight,
      this.#top + innerHeight * 2.5,
    )) {
      from = Math.min(from, first);
      to = Math.max(to, last);
    }
    if (from !== Infinity) this.#listing.want(from, to, 'grid');
  }

  // --- Hands

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
      ArrowUp: () => this.#inNextRow(index, -1),
      ArrowDown: () => this.#inNextRow(index, 1),
      Home: () => 0,
      End: () => last,
    }[event.key];
    if (!next) return;
    event.preventDefault();
    const goal = clamp(next(), 0, last);
    if (goal !== index) this.reveal(goal);
  }

  /** The photo above or below, also across the edge of a month. */
  #inNextRow(index, step) {
    const at = this.#search(index, 'start');
    const section = this.#sections[at];
    const column = (index - section.start) % this.#columns;
    const row = Math.floor((index - section.start) / this.#columns) + step;
    if (row >= 0 && row < this.#rows(section.count)) {
      return section.start + Math.min(row * this.#columns + column, section.count - 1);
    }
    const other = this.#sections[at + step];
    if (!other) return index;
    const start = step > 0 ? 0 : (this.#rows(other.count) - 1) * this.#columns;
    return other.start + Math.min(start + column, other.count - 1);
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

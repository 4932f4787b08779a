// SPDX-License-Identifier: GPL-3.0-or-later
import { el, holdPage } from '../lib/dom.js';
import { icon, iconButton } from '../lib/icons.js';
import { IdList, singlePhoto } from '../lib/listings.js';
import { loadingMessage } from '../lib/messages.js';
import { PointerGestures } from '../lib/pointerGestures.js';
import { preferences } from '../lib/preferences.js';
import { imageAddress, PAGE } from '../lib/server.js';
import { count } from '../lib/texts.js';
import { details } from './details.js';
import { Slide } from './slide.js';

const VIDEO_WORDS = 'This video plays in the Vaultmere program on the computer.';
const ABSENT_WORDS =
  'can’t be shown at the moment. The drive with the archive may not be connected.';

/**
 * One photo large, with its neighbours at either side. Stepping updates the address. It
 * is a modal dialog, so the browser handles focus and Escape.
 */
export class Lightbox {
  #dialog;
  #stage = el('div', { class: 'stage' });
  #counter = el('p', { class: 'counter' });
  #title = el('p', { class: 'title', role: 'status' });
  #panel = el('aside', { class: 'facts', 'aria-label': 'Details' });
  #words = el('p', { class: 'words', hidden: true });
  #previous = iconButton('left', 'Previous photo', () => this.step(-1), 'side previous');
  #next = iconButton('right', 'Next photo', () => this.step(1), 'side next');
  #info = iconButton('info', 'Details', () => this.#toggleInfo());
  #original = el(
    'a',
    {
      class: 'icon',
      title: 'Open the picture alone',
      'aria-label': 'Open the picture alone',
      target: '_blank',
      rel: 'noopener',
    },
    icon('open'),
  );
  #slides = new Map();
  #listing = null;
  #index = 0;
  #asked = 0;
  #onStep;
  #onClose;
  #changed = () => this.#draw();

  constructor(dialog, { onStep, onClose }) {
    this.#dialog = dialog;
    this.#onStep = onStep;
    this.#onClose = onClose;
    this.#info.setAttribute('aria-pressed', 'false');
    dialog.append(
      el(
        'div',
        { class: 'viewer' },
        this.#stage,
        this.#previous,
        this.#next,
        this.#words,
        el(
          'header',
          {},
          iconButton('close', 'Close', onClose),
          this.#counter,
          this.#title,
          el(
            'div',
            { class: 'tools' },
            iconButton('minus', 'Zoom out', () => this.#slide?.zoomBy(1 / 1.6), 'roomy'),
            iconButton('plus', 'Zoom in', () => this.#slide?.zoomBy(1.6), 'roomy'),
            this.#original,
            this.#info,
          ),
        ),
      ),
      this.#panel,
    );
    dialog.addEventListener('cancel', (event) => {
      event.preventDefault();
      onClose();
    });
    dialog.addEventListener('keydown', (event) => this.#key(event));
    new PointerGestures(this.#stage, {
      drag: (moved, total) => {
        if (this.#slide?.zoomed) this.#slide.panBy(moved.x, moved.y);
        else this.#drag(total);
      },
      drop: (total) => this.#slide?.zoomed || this.#drop(total),
      zoom: (factor, x, y) => this.#slide?.zoomBy(factor, x, y),
      doubleTap: (x, y) => this.#slide?.toggle(x, y),
    });
    new ResizeObserver(() => this.#slide?.settle()).observe(this.#stage);
    this.#panel.hidden = !(innerWidth >= 1000 && preferences.read('details', 'open') === 'open');
    this.#showInfo();
  }

  get open() {
    return this.#dialog.open;
  }

  get index() {
    return this.#index;
  }

  get #slide() {
    return this.#slides.get(this.#index);
  }

  /** Opens at an id, which should be at the index `hint` of the listing. */
  async show(listing, id, hint) {
    if (this.open && this.#listing === listing && listing.id(this.#index) === id) return;
    const asked = ++this.#asked;
    if (!this.#dialog.open) {
      holdPage(true);
      this.#title.textContent = this.#counter.textContent = '';
      this.#dialog.showModal();
      this.#dialog.focus();
    }
    let index = listing.id(hint ?? -1) === id ? hint : await locate(listing, id, hint ?? 0);
    if (asked !== this.#asked) return;
    if (index === null) {
      listing = singlePhoto(id);
      await listing.ready;
      index = 0;
    }
    this.#follow(listing);
    this.#moveTo(index);
  }

  close() {
    this.#asked += 1;
    if (!this.#dialog.open) return;
    this.#follow(null);
    for (const slide of this.#slides.values()) slide.stop();
    this.#slides.clear();
    this.#panel.replaceChildren();
    this.#words.hidden = true;
    this.#dialog.close();
    holdPage(false);
  }

  async step(by) {
    const index = this.#index + by;
    if (!this.#listing || index < 0 || index >= this.#listing.total) return;
    if (this.#listing.id(index) === undefined) {
      const asked = ++this.#asked;
      const record = await this.#listing.load(index).catch(() => null);
      if (asked !== this.#asked || !record) return;
    }
    this.#moveTo(index);
    this.#onStep(this.#listing.id(index), index);
  }

  #follow(listing) {
    if (this.#listing === listing) return;
    this.#listing?.removeEventListener('change', this.#changed);
    this.#listing?.want(0, -1, 'lightbox');
    this.#listing = listing;
    listing?.addEventListener('change', this.#changed);
    for (const slide of this.#slides.values()) slide.stop();
    this.#slides.clear();
  }

  #moveTo(index) {
    this.#index = index;
    this.#stage.style.setProperty('--x', '0px');
    this.#stage.style.setProperty('--y', '0px');
    for (const [at, slide] of this.#slides) {
      if (Math.abs(at - index) <= 1) continue;
      slide.stop();
      this.#slides.delete(at);
    }
    this.#listing.want(index - 3, index + 3, 'lightbox');
    this.#draw();
  }

  #draw() {
    const list = this.#listing;
    if (!list || list.total === null) return;
    for (const at of [this.#index, this.#index + 1, this.#index - 1]) {
      const id = list.id(at);
      const old = this.#slides.get(at);
      if (old?.id === id) continue;
      old?.stop();
      this.#slides.delete(at);
      if (id === undefined) continue;
      const slide = new Slide(id, () => this.#settled());
      this.#slides.set(at, slide);
      this.#stage.append(slide.element);
    }
    for (const [at, slide] of this.#slides) {
      slide.element.style.setProperty('--place', String(at - this.#index));
      slide.element.inert = at !== this.#index;
      if (at !== this.#index) slide.reset();
    }
    this.#settled();
    this.#describe();
  }

  /** Loads the picture in view first, then those of its neighbours. */
  #settled() {
    const slide = this.#slide;
    if (!slide) return;
    slide.load();
    if (slide.done) for (const other of this.#slides.values()) other.load();
    this.#showWords();
  }

  #describe() {
    const list = this.#listing;
    const item = list.item(this.#index);
    if (!item) return;
    this.#counter.textContent = `${count(this.#index + 1)} of ${count(list.total)}`;
    this.#title.textContent = item.bare ? '' : (item.original_filename ?? '');
    this.#previous.disabled = this.#index === 0;
    this.#next.disabled = this.#index >= list.total - 1;
    this.#original.href = imageAddress(item.id);
    this.#slide?.describe(item);
    this.#showWords();
    this.#showDetails(item);
  }

  #showWords() {
    const isVideo = this.#listing?.item(this.#index)?.media_type === 'video';
    const { failed = false } = this.#slide ?? {};
    const words = [
      isVideo && VIDEO_WORDS,
      isVideo && !failed && 'Here is a frame of it.',
      failed && `${isVideo ? 'Its frame' : 'The full picture'} ${ABSENT_WORDS}`,
    ];
    const text = words.filter(Boolean).join(' ');
    this.#words.hidden = text === '';
    if (this.#words.dataset.of === text) return;
    this.#words.dataset.of = text;
    this.#words.replaceChildren(
      text,
      failed
        ? el(
            'button',
            { type: 'button', class: 'link', on: { click: () => this.#slide?.again() } },
            'Try again',
          )
        : '',
    );
  }

  async #showDetails(item) {
    if (this.#panel.hidden) return;
    if (item.bare) {
      const list = this.#listing,
        index = this.#index;
      this.#panel.replaceChildren(loadingMessage('Looking up the details'));
      const record = await list.load(index).catch(() => null);
      if (list !== this.#listing || index !== this.#index) return;
      if (record) this.#describe();
      else
        this.#panel.replaceChildren(
          el('p', { class: 'quiet' }, 'The details of this photo couldn’t be looked up.'),
        );
      return;
    }
    if (this.#panel.dataset.of === item.id && this.#panel.querySelector('dl')) return;
    this.#panel.dataset.of = item.id;
    this.#panel.replaceChildren(...details(item));
    this.#panel.scrollTop = 0;
  }

  #toggleInfo() {
    this.#panel.hidden = !this.#panel.hidden;
    if (innerWidth >= 1000) preferences.write('details', this.#panel.hidden ? 'closed' : 'open');
    this.#showInfo();
    if (this.#listing) this.#describe();
  }

  #showInfo() {
    this.#info.setAttribute('aria-pressed', String(!this.#panel.hidden));
  }

  #key(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const slide = this.#slide;
    const pan = (x, y) => slide?.panBy(x * 80, y * 80);
    const zoomed = slide?.zoomed;
    const action = {
      ArrowLeft: () => (zoomed ? pan(1, 0) : this.step(-1)),
      ArrowRight: () => (zoomed ? pan(-1, 0) : this.step(1)),
      ArrowUp: () => zoomed && pan(0, 1),
      ArrowDown: () => zoomed && pan(0, -1),
      '+': () => slide?.zoomBy(1.6),
      '=': () => slide?.zoomBy(1.6),
      '-': () => slide?.zoomBy(1 / 1.6),
      0: () => slide?.reset(),
      i: () => this.#toggleInfo(),
    }[event.key];
    const scrolling =
      event.key.startsWith('Arrow') &&
      this.#panel.contains(event.target) &&
      /Up|Down/.test(event.key);
    if (!action || scrolling) return;
    event.preventDefault();
    action();
  }

  #drag({ x, y }) {
    const sideways = Math.abs(x) > Math.abs(y);
    const atEnd = (x > 0 && this.#index === 0) || (x < 0 && this.#index >= this.#listing.total - 1);
    this.#stage.classList.add('dragged');
    this.#stage.style.setProperty('--x', `${sideways ? (atEnd ? x / 3 : x) : 0}px`);
    this.#stage.style.setProperty('--y', `${sideways ? 0 : Math.max(0, y)}px`);
  }

  #drop({ x, y }) {
    this.#stage.classList.remove('dragged');
    this.#stage.style.setProperty('--x', '0px');
    this.#stage.style.setProperty('--y', '0px');
    if (Math.abs(x) > Math.abs(y)) {
      if (Math.abs(x) > Math.min(90, this.#stage.clientWidth / 5)) this.step(x < 0 ? 1 : -1);
    } else if (y > 90) {
      this.#onClose();
    } else if (y < -70 && this.#panel.hidden) {
      this.#toggleInfo();
    }
  }
}

/** The index of an id in a listing, searched for around a hint; null when it isn't there. */
async function locate(listing, id, hint) {
  if (listing instanceof IdList) {
    await listing.ready;
    const index = listing.indexOf(id);
    return index < 0 ? null : index;
  }
  const isHere = (index) => listing.id(index) === id;
  for (const around of [0, -PAGE, PAGE]) {
    if (hint + around < 0) continue;
    await listing.load(hint + around).catch(() => null);
    const start = Math.floor((hint + around) / PAGE) * PAGE;
    for (let index = start; index < start + PAGE; index++) if (isHere(index)) return index;
  }
  return null;
}

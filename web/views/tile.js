// SPDX-License-Identifier: GPL-3.0-or-later
import { addressOf } from '../lib/address.js';
import { el } from '../lib/dom.js';
import { icon } from '../lib/icons.js';
import { state } from '../lib/navigation.js';
import { count, formatName, photoLabel } from '../lib/texts.js';
import { showThumb } from '../lib/thumbnails.js';

/** One photo of the grid: its colour first, then its thumbnail, else its kind and name. */
export class Tile {
  link = el('a', {}, el('span', { class: 'badges' }));
  cell;
  #picture = null;
  #kind = null;
  #shown = null;
  #stop = null;

  constructor(index) {
    this.cell = el(
      'div',
      { class: 'cell', role: 'listitem', 'data-index': index, 'aria-posinset': index + 1 },
      this.link,
    );
    this.index = index;
  }

  /** item undefined: not loaded yet. While `passing`, the thumbnail isn't requested. */
  show(item, total, passing) {
    if (this.#shown !== item || !this.link.hasAttribute('aria-label')) this.#describe(item, total);
    if (item && !this.#stop && !passing) {
      this.#picture = el('img', { alt: '', decoding: 'async', draggable: false });
      this.link.prepend(this.#picture);
      this.#stop = showThumb(this.#picture, item.id, () => this.#showKind(item));
    }
  }

  stop() {
    this.#stop?.();
    this.#stop = null;
    this.#picture?.remove();
    this.#kind?.remove();
    this.#kind = null;
  }

  /** In place of a thumbnail, which hides it if it comes after all. */
  #showKind({ extension, original_filename: name }) {
    if (!extension && !name) return;
    this.#kind = el(
      'span',
      { class: 'kind', 'aria-hidden': 'true' },
      extension ? el('b', {}, formatName(extension)) : null,
      name ? el('span', {}, name) : null,
    );
    this.#picture.after(this.#kind);
  }

  #describe(item, total) {
    if (this.#shown && this.#shown.id !== item?.id) this.stop();
    this.#shown = item;
    this.cell.setAttribute('aria-setsize', total);
    this.link.setAttribute(
      'aria-label',
      item?.bare ? `Photo ${count(this.index + 1)}` : photoLabel(item),
    );
    this.link.style.setProperty('--colour', item?.average_color?.hex ?? 'var(--tile-colour)');
    if (item) this.link.href = addressOf({ ...state, photo: item.id, at: this.index });
    this.link.lastChild.replaceChildren(...this.#badges(item));
  }

  #badges(item) {
    const badges = [];
    if (item?.media_type === 'video') badges.push(icon('play', 'full'));
    if (item?.media_type === 'live_photo') badges.push(icon('live'));
    if (item?.favorite) badges.push(icon('heart', 'full'));
    return badges;
  }
}

// SPDX-License-Identifier: GPL-3.0-or-later

/** One photo of the grid: a place of its own at first, the picture when it comes. */
class Tile {
  link = el('a', {}, el('span', { class: 'badges' }));
  cell;
  #picture = null;
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

  /** item undefined: not loaded yet. With `passing` the thumbnail isn't asked for. */
  show(item, total, passing) {
    if (this.#shown !== item || !this.link.hasAttribute('aria-label')) this.#describe(item, total);
    if (item && !this.#stop && !passing) {
      this.#picture = el('img', { alt: '', decoding: 'async', draggable: false });
      this.link.prepend(this.#picture);
      this.#stop = showThumb(this.#picture, item.id);
    }
  }

  stop() {
    this.#stop?.();
    this.#stop = null;
    this.#picture?.remove();
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

// SPDX-License-Identifier: GPL-3.0-or-later

/**
 * Where each tile of the gallery stands, by arithmetic alone. The photos lie in
 * sections: a month with its heading, or a run of photos whose months aren't loaded
 * yet. The rows of the latter are spaced a little wider, by the average height of
 * headings, so that the screen stays put when the months become known.
 *
 * Heights are counted in pixels from the top of the grid.
 */
export class GridLayout {
  height = 0;
  #sections = [];
  #columns;

  /**
   * runs: [month, count] in order; month is undefined while unknown, null without
   * headings. row: pixels from one row to the next; heading: of a month's heading.
   */
  constructor({ runs = [], columns = 1, row = 1, heading = 0 } = {}) {
    this.#columns = columns;
    let extra = 0,
      known = 0;
    for (const [month, n] of runs) {
      if (month === undefined || month === null) continue;
      extra += heading + this.#rows(n) * row - (n / columns) * row;
      known += n;
    }
    const perPhoto = known ? extra / known : 0;
    let start = 0;
    for (const [month, n] of runs) {
      const head = typeof month === 'string' ? heading : 0;
      const guess = month === undefined ? n * perPhoto : 0;
      const pitch = row + guess / this.#rows(n);
      this.#sections.push({ month, start, count: n, top: this.height, head, pitch });
      start += n;
      this.height += head + this.#rows(n) * pitch;
    }
  }

  get isEmpty() {
    return this.#sections.length === 0;
  }

  sectionAt(height) {
    return this.#sections[this.#search(height, 'top')];
  }

  sectionOf(index) {
    return this.#sections[this.#search(index, 'start')];
  }

  /** The height of a photo's upper edge. */
  heightOf(index) {
    const { top, head, start, pitch } = this.sectionOf(index);
    return top + head + Math.floor((index - start) / this.#columns) * pitch;
  }

  columnOf(index) {
    return (index - this.sectionOf(index).start) % this.#columns;
  }

  /** The first photo of the row at a height. */
  indexAt(height) {
    const { top, head, start, count, pitch } = this.sectionAt(height);
    const row = Math.max(0, Math.floor((height - top - head) / pitch));
    return Math.min(start + row * this.#columns, start + count - 1);
  }

  /** The runs of indexes between two heights, { section, first, last } by section. */
  *band(from, to) {
    if (this.isEmpty) return;
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

  /** The photo a row above (step -1) or below (1), also in the neighbouring month. */
  inNextRow(index, step) {
    const at = this.#search(index, 'start');
    const { start, count } = this.#sections[at];
    const column = (index - start) % this.#columns;
    const row = Math.floor((index - start) / this.#columns) + step;
    if (row >= 0 && row < this.#rows(count)) {
      return start + Math.min(row * this.#columns + column, count - 1);
    }
    const other = this.#sections[at + step];
    if (!other) return index;
    const first = step > 0 ? 0 : (this.#rows(other.count) - 1) * this.#columns;
    return other.start + Math.min(first + column, other.count - 1);
  }

  #rows(n) {
    return Math.ceil(n / this.#columns);
  }

  /** The last section whose `key` is at most `value`, else the first. */
  #search(value, key) {
    let low = 0,
      high = this.#sections.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.#sections[middle][key] <= value) low = middle;
      else high = middle - 1;
    }
    return low;
  }
}

// SPDX-License-Identifier: GPL-3.0-or-later
//
// Drives one page of the gallery. Each operation waits for its result.
import assert from 'node:assert/strict';

/** Console errors to expect: pictures that aren't there yet. */
const EXPECTED = /the server responded with a status of (404|401)|net::ERR_(FAILED|ABORTED)/;

export class PageDriver {
  #errors = [];

  constructor(page, server) {
    this.page = page;
    this.server = server;
    this.address = server.address;
    page.on('pageerror', (error) => this.#errors.push(error.stack));
    page.on('console', (line) => {
      if (line.type() === 'error' && !EXPECTED.test(line.text())) this.#errors.push(line.text());
    });
  }

  /** Fails for exceptions and console errors of the page. */
  assertNoPageErrors() {
    assert.deepEqual(this.#errors, []);
  }

  async open(path = '/') {
    await this.page.goto(this.address + path);
  }

  /** Waits until `test`, run in the page with `value`, holds. */
  async waitUntil(test, value) {
    try {
      await this.page.waitForFunction(test, value);
    } catch (error) {
      const what = `${test}`.replace(/\s+/g, ' ');
      const given = value === undefined ? '' : ` with ${JSON.stringify(value)}`;
      throw new Error(`this never held: ${what}${given}`, { cause: error });
    }
  }

  async waitForText(text) {
    await this.page.getByText(text).filter({ visible: true }).first().waitFor();
  }

  async waitForTotal(total) {
    const words = `${total.toLocaleString('en-GB')} photo${total === 1 ? '' : 's'}`;
    await this.waitUntil(
      (text) => document.getElementById('summary').textContent.startsWith(text),
      words,
    );
  }

  tile(index) {
    return this.page.locator(`.cell[data-index="${index}"] a`);
  }

  async waitForTile(index, record) {
    await this.waitUntil(
      ([at, name]) =>
        document
          .querySelector(`.cell[data-index="${at}"] a`)
          ?.getAttribute('aria-label')
          ?.includes(name),
      [index, record.original_filename],
    );
  }

  /** Waits until every canvas in view shows more than one colour. */
  async waitForDrawings() {
    await this.waitUntil(() =>
      [...document.querySelectorAll('main section:not([hidden]) canvas')].every((canvas) => {
        const { width, height } = canvas;
        const { data } = canvas.getContext('2d').getImageData(0, 0, width, height);
        const pixels = new Uint32Array(data.buffer);
        return pixels.some((pixel) => pixel !== pixels[0]);
      }),
    );
  }

  /** The indexes of the tiles in the document, in its order. */
  async tiles() {
    return this.page
      .locator('.cell')
      .evaluateAll((cells) => cells.map((cell) => +cell.dataset.index));
  }

  /** Waits until the records of all tiles in the document are loaded. */
  async waitForTiles() {
    await this.waitUntil(() => {
      const cells = [...document.querySelectorAll('.cell')];
      const onScreen = (cell) => {
        const { top, bottom } = cell.getBoundingClientRect();
        return bottom > 0 && top < innerHeight;
      };
      return cells.some(onScreen) && cells.every((cell) => cell.querySelector('a[href]'));
    });
  }

  async months() {
    return this.page.locator('.month').allTextContents();
  }

  async scrollTo(share) {
    await this.page.evaluate(
      (to) => scrollTo(0, to * document.documentElement.scrollHeight),
      share,
    );
  }

  /** The first tile that stands wholly below the bar. */
  async firstTile() {
    return this.page.evaluate(() => {
      const cells = [...document.querySelectorAll('.cell')];
      return +cells.find((cell) => cell.getBoundingClientRect().top >= 60)?.dataset.index;
    });
  }

  async press(...keys) {
    for (const key of keys) await this.page.keyboard.press(key);
  }

  async button(name) {
    await this.page.getByRole('button', { name, exact: true }).click();
  }

  async link(name) {
    await this.page.getByRole('link', { name, exact: true }).first().click();
  }

  /** By the mouse: a locator's click would first scroll to what is in view already. */
  async goToView(name) {
    const box = await this.page.getByRole('link', { name, exact: true }).boundingBox();
    await this.page.mouse.click(box.x + box.width / 2, box.y + box.height / 2);
    await this.waitUntil((view) => document.body.dataset.view === view, name.toLowerCase());
  }

  async chips() {
    return this.page.locator('[data-filter]').allTextContents();
  }

  query() {
    return Object.fromEntries(new URL(this.page.url()).searchParams);
  }

  // --- The lightbox

  async openPhoto(index) {
    await this.tile(index).click();
    await this.waitForPhoto(index);
  }

  async waitForPhoto(index, total = null) {
    await this.waitUntil(
      ([at, of]) => {
        const counter = document.querySelector('#lightbox[open] .counter')?.textContent ?? '';
        return (
          counter.startsWith(`${(at + 1).toLocaleString('en-GB')} of `) &&
          (of === null || counter.endsWith(` of ${of.toLocaleString('en-GB')}`))
        );
      },
      [index, total],
    );
  }

  /** Waits until the lightbox is open at some photo, and gives its id. */
  async waitForAnyPhoto() {
    await this.waitUntil(() => document.querySelector('#lightbox[open] .counter')?.textContent);
    return this.query().photo;
  }

  async waitForPicture() {
    await this.waitUntil(
      () => document.querySelector('.slide:not([inert]).ready .full')?.naturalWidth > 0,
    );
  }

  async waitForClosedLightbox() {
    await this.waitUntil(() => !document.getElementById('lightbox').open);
  }

  async details() {
    const panel = this.page.locator('.facts');
    if (!(await panel.isVisible())) await this.button('Details');
    await panel.locator('dl').waitFor();
    return panel.innerText();
  }

  /** One touch, from a point over others to the last. */
  async touch(...points) {
    await this.#sendTouches(points.map((point) => [point]));
  }

  /** Two touches; `from` and `to` are their distances. */
  async pinch(from, to) {
    const { width, height } = this.page.viewportSize();
    const step = (distance) =>
      [-1, 1].map((side) => ({ x: width / 2 + (side * distance) / 2, y: height / 2 }));
    await this.#sendTouches(
      [0, 0.25, 0.5, 0.75, 1].map((share) => step(from + (to - from) * share)),
    );
  }

  async #sendTouches(steps) {
    const session = await this.page.context().newCDPSession(this.page);
    const send = (type, touchPoints) =>
      session.send('Input.dispatchTouchEvent', {
        type,
        touchPoints: touchPoints.map(({ x, y }, id) => ({ x, y, id })),
      });
    await send('touchStart', steps[0]);
    for (const step of steps.slice(1)) await send('touchMove', step);
    await send('touchEnd', []);
    await session.detach();
  }

  async swipe(dx, dy) {
    const { width, height } = this.page.viewportSize();
    const points = [0, 0.3, 0.6, 1].map((share) => ({
      x: width / 2 + dx * (share - 0.5),
      y: height / 2 + dy * (share - 0.5),
    }));
    await this.touch(...points);
  }

  async zoom() {
    return this.page.evaluate(() =>
      Number(
        /scale\(([\d.]+)\)/.exec(
          document.querySelector('.slide:not([inert]) .picture').style.transform,
        )?.[1] ?? 1,
      ),
    );
  }
}

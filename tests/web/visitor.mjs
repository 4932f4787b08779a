// SPDX-License-Identifier: GPL-3.0-or-later
//
// A person at a browser, in verbs. Each waits for what it should bring about.
import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { chromium } from 'playwright-core';

export const WINDOWS = {
  phone: {
    viewport: { width: 390, height: 844 },
    deviceScaleFactor: 2,
    hasTouch: true,
    isMobile: true,
  },
  desktop: { viewport: { width: 1440, height: 900 } },
};

const SWITCHES = [
  '--headless',
  '--no-sandbox',
  '--disable-gpu',
  '--disable-quic',
  '--no-first-run',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
];

/** Opens a browser of its own; `close` ends it and removes its profile. */
export async function openBrowser(window, settings = {}) {
  const profile = mkdtempSync(join(tmpdir(), 'browser-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    args: SWITCHES,
    locale: 'en-GB',
    ...window,
    ...settings,
  });
  context.setDefaultTimeout(20_000);
  return {
    context,
    close: async () => {
      await context.close();
      rmSync(profile, { recursive: true, force: true });
    },
  };
}

/** What the console may say while all is well: pictures that aren't there yet. */
const EXPECTED = /the server responded with a status of (404|401)|net::ERR_(FAILED|ABORTED)/;

export class Visitor {
  #faults = [];

  static async in(browser, gallery) {
    const visitor = new Visitor();
    visitor.address = gallery.address;
    visitor.page = await browser.context.newPage();
    visitor.page.on('pageerror', (error) => visitor.#faults.push(error.stack));
    visitor.page.on('console', (line) => {
      if (line.type() === 'error' && !EXPECTED.test(line.text())) visitor.#faults.push(line.text());
    });
    return visitor;
  }

  /** Closes the page; nothing may have gone wrong in it unseen. */
  async leave() {
    await this.page.close();
    assert.deepEqual(this.#faults, []);
  }

  async open(path = '/') {
    await this.page.goto(this.address + path);
  }

  /** Waits until `test`, run in the page with `value`, holds. */
  async until(test, value) {
    await this.page.waitForFunction(test, value);
  }

  async sees(text) {
    await this.page.getByText(text).filter({ visible: true }).first().waitFor();
  }

  async seesTotal(total) {
    const words = `${total.toLocaleString('en-GB')} photo${total === 1 ? '' : 's'}`;
    await this.until(
      (text) => document.getElementById('summary').textContent.startsWith(text),
      words,
    );
  }

  tile(index) {
    return this.page.locator(`.cell[data-index="${index}"] a`);
  }

  async seesTile(index, record) {
    await this.until(
      ([at, name]) =>
        document
          .querySelector(`.cell[data-index="${at}"] a`)
          ?.getAttribute('aria-label')
          ?.includes(name),
      [index, record.original_filename],
    );
  }

  /** The indexes of the tiles in the document, in its order. */
  async tiles() {
    return this.page
      .locator('.cell')
      .evaluateAll((cells) => cells.map((cell) => +cell.dataset.index));
  }

  /** Waits until all that is on the screen, and some, is known. */
  async settles() {
    await this.until(() => {
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

  /** By the mouse: the driver's own click would first scroll to what is in view already. */
  async goToView(name) {
    const box = await this.page.getByRole('link', { name, exact: true }).boundingBox();
    await this.page.mouse.click(box.x + box.width / 2, box.y + box.height / 2);
    await this.until((view) => document.body.dataset.view === view, name.toLowerCase());
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
    await this.seesPhoto(index);
  }

  async seesPhoto(index, total = null) {
    await this.until(
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

  async seesPicture() {
    await this.until(
      () => document.querySelector('.slide:not([inert]).ready .full')?.naturalWidth > 0,
    );
  }

  async seesNoPhoto() {
    await this.until(() => !document.getElementById('lightbox').open);
  }

  async details() {
    const panel = this.page.locator('.facts');
    if (!(await panel.isVisible())) await this.button('Details');
    await panel.locator('dl').waitFor();
    return panel.innerText();
  }

  /** One finger, from a point over others to the last. */
  async finger(...points) {
    await this.#touch(points.map((point) => [point]));
  }

  /** Two fingers that part, or meet. */
  async pinch(from, to) {
    const { width, height } = this.page.viewportSize();
    const step = (distance) =>
      [-1, 1].map((side) => ({ x: width / 2 + (side * distance) / 2, y: height / 2 }));
    await this.#touch([0, 0.25, 0.5, 0.75, 1].map((share) => step(from + (to - from) * share)));
  }

  async #touch(steps) {
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
    await this.finger(...points);
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

/** Runs a story for a new visitor in each of the windows. */
export function inEachWindow(test, browsers, gallery, name, story) {
  for (const window of Object.keys(WINDOWS)) {
    test(`${name} (${window})`, () =>
      visit(browsers()[window], gallery(), (visitor) => story(visitor, window)));
  }
}

/** Runs one story, and looks for faults that nobody would have seen. */
export async function visit(browser, gallery, story) {
  const visitor = await Visitor.in(browser, gallery);
  try {
    await story(visitor);
  } catch (error) {
    if (process.env.VAULTMERE_SHOTS) {
      await visitor.page.screenshot({ path: `${process.env.VAULTMERE_SHOTS}/${Date.now()}.png` });
    }
    await visitor.page.close();
    throw error;
  }
  await visitor.leave();
}

// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { LIBRARY, suite } from './harness.mjs';

const byValue = (a, b) => a - b;

const monthOf = (stamp) =>
  new Intl.DateTimeFormat('en-GB', { month: 'long', year: 'numeric', timeZone: 'UTC' }).format(
    new Date(`${stamp}Z`),
  );

/** The record at an index of the server's list. */
async function recordAt({ server }, index, sort = 'newest') {
  const { items } = await server.ask('/api/photos', { sort, page_size: 1, page: index + 1 });
  return items[0];
}

suite('the gallery', LIBRARY, ({ onBoth, onPhone, onDesktop }) => {
  onBoth('shows the newest photos first and keeps only tiles near the screen', async (driver) => {
    await driver.open();
    const { total, items } = await driver.server.ask('/api/photos', {
      sort: 'newest',
      page_size: 3,
    });
    await driver.waitForTotal(total);
    for (const [index, item] of items.entries()) await driver.waitForTile(index, item);
    assert.equal((await driver.months())[0], monthOf(items[0].capture_date));
    await driver.waitUntil(() => document.querySelector('.cell img.shown')?.naturalWidth >= 300);
    for (const share of [0.2, 0.5, 0.8]) {
      await driver.scrollTo(share);
      await driver.waitUntil(
        () => document.querySelector('.grid').getBoundingClientRect().top < -innerHeight,
      );
      await driver.waitForTiles();
      const index = await driver.firstTile();
      await driver.waitForTile(index, await recordAt(driver, index));
      const tiles = await driver.tiles();
      assert.ok(tiles.length < 400, `${tiles.length} tiles in the document`);
      assert.deepEqual(tiles, [...tiles].sort(byValue), 'tiles are in reading order');
    }
    await driver.scrollTo(1);
    await driver.waitForTile(total - 1, await recordAt(driver, total - 1));
    await driver.page.evaluate(() => scrollBy(0, -1.5 * innerHeight));
    await driver.waitUntil(
      () => [...document.querySelectorAll('.month')].at(-1)?.textContent === 'No date',
    );
  });

  onDesktop('sorts by the chosen order, with each month once and in order', async (driver) => {
    await driver.open();
    const choose = (label) => driver.page.getByLabel('Sort').selectOption({ label });
    await choose('Recently added');
    await driver.waitForTile(0, await recordAt(driver, 0, 'added'));
    assert.equal(driver.query().sort, 'added');
    assert.deepEqual(await driver.months(), []);
    await choose('Oldest taken');
    await driver.waitForTile(0, await recordAt(driver, 0, 'oldest'));
    const seen = [];
    for (let i = 0; i < 8; i++) {
      await driver.waitForTiles();
      seen.push(...(await driver.months()));
      await driver.page.evaluate(() => scrollBy(0, innerHeight * 0.8));
    }
    const titles = [...new Set(seen)].filter((title) => title !== 'No date');
    const times = titles.map((title) => Date.parse(`1 ${title} UTC`));
    assert.ok(times.length >= 2);
    assert.deepEqual(times, [...times].sort(byValue));
  });

  onPhone('keeps its scroll position across back, forward and reload', async (driver) => {
    await driver.open();
    await driver.tile(0).waitFor();
    await driver.scrollTo(0.4);
    await driver.waitUntil(() => history.state?.anchor?.index > 100);
    await driver.waitForTiles();
    const place = await driver.firstTile();
    const isAt = (index) =>
      driver.waitUntil((tile) => {
        const top = document
          .querySelector(`.cell[data-index="${tile}"]`)
          ?.getBoundingClientRect().top;
        return top >= 55 && top < innerHeight / 2;
      }, index);
    await driver.goToView('Statistics');
    await driver.waitForText('of the whole library');
    await driver.page.goBack();
    await isAt(place);
    await driver.page.goForward();
    await driver.waitForText('of the whole library');
    await driver.page.goBack();
    await driver.page.reload();
    await isAt(place);
  });

  onDesktop('moves the focus by keys, and returns it after the lightbox closes', async (driver) => {
    await driver.open();
    await driver.waitForTile(0, await recordAt(driver, 0));
    await driver.tile(0).focus();
    const focused = () =>
      driver.page.evaluate(() => Number(document.activeElement.closest('.cell')?.dataset.index));
    await driver.press('ArrowRight', 'ArrowRight');
    assert.equal(await focused(), 2);
    await driver.press('ArrowDown');
    assert.ok((await focused()) > 2);
    await driver.press('ArrowUp');
    assert.equal(await focused(), 2);
    const total = await driver.server.count();
    await driver.press('End');
    await driver.waitUntil(
      (last) =>
        document.activeElement.closest('.cell')?.dataset.index === String(last) &&
        document.activeElement.href,
      total - 1,
    );
    await driver.press('Enter');
    await driver.waitForPhoto(total - 1, total);
    await driver.press('Escape');
    await driver.waitForClosedLightbox();
    assert.equal(await focused(), total - 1, 'the focus is back on the tile');
  });

  onDesktop('keeps the chosen tile size after a reload', async (driver) => {
    await driver.open();
    const width = async () => (await driver.tile(0).boundingBox()).width;
    const medium = await width();
    await driver.button('Medium tiles, change');
    const large = await width();
    assert.ok(large > medium * 1.2);
    await driver.page.reload();
    assert.equal(await width(), large);
    await driver.button('Large tiles, change');
    assert.ok((await width()) < medium);
    await driver.button('Small tiles, change');
  });

  onDesktop('takes over a new total while scrolling', async (driver) => {
    await driver.open();
    const total = await driver.server.count();
    await driver.waitForTotal(total);
    await driver.page.route('**/api/photos*', async (route) => {
      const answer = await route.fetch();
      const list = await answer.json();
      await route.fulfill({ json: { ...list, total: total + 1 } });
    });
    await driver.scrollTo(0.6);
    await driver.waitForTotal(total + 1);
    const index = await driver.firstTile();
    await driver.waitUntil(
      (tile) => document.querySelector(`.cell[data-index="${tile}"] a[href]`),
      index,
    );
  });

  onDesktop('reaches every row of three million', async (driver) => {
    const total = 3_000_000;
    await driver.page.route('**/thumb/*', (route) => route.abort());
    await driver.page.route('**/api/photos*', (route) => {
      const query = new URL(route.request().url()).searchParams;
      const start = (query.get('page') - 1) * query.get('page_size');
      const length = Math.min(query.get('page_size'), total - start);
      const items = Array.from({ length }, (_, i) => ({
        id: String(start + i).padStart(64, '0'),
        original_filename: `number ${start + i}.`,
        tags: [],
        ml_labels: [],
        dimensions: {},
        place: {},
        camera: {},
      }));
      return route.fulfill({ json: { total, items } });
    });
    const firstSeen = async () => {
      await driver.waitUntil(() =>
        [...document.querySelectorAll('.cell')].some(
          (cell) => cell.getBoundingClientRect().top >= 60 && cell.querySelector('a[href]'),
        ),
      );
      const index = await driver.firstTile();
      await driver.waitForTile(index, { original_filename: `number ${index}.` });
      return index;
    };
    await driver.open('/?sort=added');
    await driver.waitForTotal(total);
    await driver.scrollTo(0.5);
    await driver.waitUntil(() => Number(document.querySelector('.cell')?.dataset.index) > 1000);
    const middle = await firstSeen();
    assert.ok(Math.abs(middle - total / 2) < total / 50, `${middle} is about the middle`);
    await driver.page.mouse.move(700, 500);
    await driver.page.mouse.wheel(0, 400);
    await driver.waitUntil((old) => {
      const cell = document.querySelector(`.cell[data-index="${old}"]`);
      return cell && cell.getBoundingClientRect().top < 0;
    }, middle);
    assert.ok((await firstSeen()) - middle < 50, 'one turn of the wheel scrolls a few rows');
    await driver.scrollTo(1);
    await driver.waitForTile(total - 1, { original_filename: `number ${total - 1}.` });
    const box = await driver.tile(total - 1).boundingBox();
    assert.ok(box.y + box.height <= 900, 'the last photo can be seen whole');
  });
});

suite('thumbnails', { photos: 120 }, ({ onDesktop }) => {
  const openAlone = async (driver, item) => {
    driver.server.forgetThumbnail(item);
    await driver.open(`/?q=${encodeURIComponent(item.original_filename)}`);
    await driver.waitForTile(0, item);
  };

  onDesktop('a missing thumbnail shows the colour until the server has made it', async (driver) => {
    const { server } = driver;
    const { items } = await server.ask('/api/photos', { ext: '.jpg', page_size: 200 });
    const late = items.find((item) => server.hasOriginal(item));
    const answers = [];
    driver.page.on('response', (answer) => {
      if (answer.url().endsWith(`/thumb/${late.id}`)) answers.push(answer.status());
    });
    await openAlone(driver, late);
    const tile = await driver.tile(0).evaluate((link) => getComputedStyle(link).backgroundColor);
    assert.equal(tile, `rgb(${late.average_color.rgb.join(', ')})`);
    await driver.waitUntil(() => document.querySelector('.cell img.shown')?.naturalWidth > 0);
    assert.deepEqual([answers[0], answers.at(-1)], [404, 200]);
    assert.equal(await driver.page.locator('.kind').filter({ visible: true }).count(), 0);
  });

  onDesktop('a thumbnail that can’t be made shows kind and name', async (driver) => {
    const { server } = driver;
    const { items } = await server.ask('/api/photos', { media_type: 'image' });
    const item = items.find((candidate) => !server.hasOriginal(candidate));
    await openAlone(driver, item);
    await driver.page.locator('.kind').waitFor();
    assert.deepEqual(await driver.page.locator('.kind > *').allTextContents(), [
      item.extension.slice(1).toUpperCase(),
      item.original_filename,
    ]);
  });
});

// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { at, LIBRARY } from './stage.mjs';

const byValue = (a, b) => a - b;

const monthOf = (stamp) =>
  new Intl.DateTimeFormat('en-GB', { month: 'long', year: 'numeric', timeZone: 'UTC' }).format(
    new Date(`${stamp}Z`),
  );

/** The record at an index of the server's list. */
async function recordAt({ gallery }, index, sort = 'newest') {
  const { items } = await gallery.ask('/api/photos', { sort, page_size: 1, page: index + 1 });
  return items[0];
}

at('the gallery', LIBRARY, ({ story, onPhone, onDesktop }) => {
  story('opens with the newest, under their month, with the total', async (visitor) => {
    await visitor.open();
    const { total, items } = await visitor.gallery.ask('/api/photos', {
      sort: 'newest',
      page_size: 3,
    });
    await visitor.seesTotal(total);
    for (const [index, item] of items.entries()) await visitor.seesTile(index, item);
    assert.equal((await visitor.months())[0], monthOf(items[0].capture_date));
    await visitor.until(() => document.querySelector('.cell img.shown')?.naturalWidth === 400);
  });

  story('scrolls through thousands, and keeps only what is near', async (visitor) => {
    await visitor.open();
    const total = await visitor.gallery.count();
    await visitor.seesTotal(total);
    for (const share of [0.2, 0.5, 0.8]) {
      await visitor.scrollTo(share);
      await visitor.until(
        () => document.querySelector('.grid').getBoundingClientRect().top < -innerHeight,
      );
      await visitor.settles();
      const index = await visitor.firstTile();
      await visitor.seesTile(index, await recordAt(visitor, index));
      const tiles = await visitor.tiles();
      assert.ok(tiles.length < 400, `${tiles.length} tiles in the document`);
      assert.deepEqual(tiles, [...tiles].sort(byValue), 'tiles stand in reading order');
    }
    await visitor.scrollTo(1);
    await visitor.seesTile(total - 1, await recordAt(visitor, total - 1));
    assert.equal((await visitor.months()).at(-1), 'No date');
  });

  onPhone('heads each month once, in their order', async (visitor) => {
    await visitor.open('/?sort=oldest');
    const seen = [];
    for (let i = 0; i < 8; i++) {
      await visitor.settles();
      seen.push(...(await visitor.months()));
      await visitor.page.evaluate(() => scrollBy(0, innerHeight * 0.8));
    }
    const titles = [...new Set(seen)].filter((title) => title !== 'No date');
    const times = titles.map((title) => Date.parse(`1 ${title} UTC`));
    assert.ok(times.length >= 2);
    assert.deepEqual(times, [...times].sort(byValue));
  });

  onDesktop('sorts as it is told', async (visitor) => {
    await visitor.open();
    for (const [sort, title, hasMonths] of [
      ['oldest', 'Oldest taken', true],
      ['added', 'Recently added', false],
    ]) {
      await visitor.page.getByLabel('Sort').selectOption({ label: title });
      await visitor.seesTile(0, await recordAt(visitor, 0, sort));
      assert.equal(visitor.query().sort, sort);
      assert.equal((await visitor.months()).length > 0, hasMonths, title);
    }
  });

  story('is at the same place after going back and forward', async (visitor) => {
    await visitor.open();
    await visitor.tile(0).waitFor();
    await visitor.scrollTo(0.4);
    await visitor.until(() => history.state?.anchor?.index > 100);
    await visitor.settles();
    const place = await visitor.firstTile();
    const isAt = (index) =>
      visitor.until((tile) => {
        const top = document
          .querySelector(`.cell[data-index="${tile}"]`)
          ?.getBoundingClientRect().top;
        return top >= 55 && top < innerHeight / 2;
      }, index);
    await visitor.goToView('Statistics');
    await visitor.sees('of the whole library');
    await visitor.page.goBack();
    await isAt(place);
    await visitor.page.goForward();
    await visitor.sees('of the whole library');
    await visitor.page.goBack();
    await visitor.page.reload();
    await isAt(place);
  });

  onDesktop('is walked by keys alone', async (visitor) => {
    await visitor.open();
    await visitor.seesTile(0, await recordAt(visitor, 0));
    await visitor.tile(0).focus();
    const focused = () =>
      visitor.page.evaluate(() => Number(document.activeElement.closest('.cell')?.dataset.index));
    await visitor.press('ArrowRight', 'ArrowRight');
    assert.equal(await focused(), 2);
    await visitor.press('ArrowDown');
    assert.ok((await focused()) > 2);
    await visitor.press('ArrowUp');
    assert.equal(await focused(), 2);
    const total = await visitor.gallery.count();
    await visitor.press('End');
    await visitor.until(
      (last) =>
        document.activeElement.closest('.cell')?.dataset.index === String(last) &&
        document.activeElement.href,
      total - 1,
    );
    await visitor.press('Enter');
    await visitor.seesPhoto(total - 1, total);
    await visitor.press('Escape');
    await visitor.seesNoPhoto();
    assert.equal(await focused(), total - 1, 'the focus is back on the tile');
  });

  onDesktop('remembers the size of the tiles', async (visitor) => {
    await visitor.open();
    const width = async () => (await visitor.tile(0).boundingBox()).width;
    const medium = await width();
    await visitor.button('Medium tiles, change');
    const large = await width();
    assert.ok(large > medium * 1.2);
    await visitor.page.reload();
    assert.equal(await width(), large);
    await visitor.button('Large tiles, change');
    assert.ok((await width()) < medium);
    await visitor.button('Small tiles, change');
  });

  onDesktop('follows a catalog that grows while somebody looks', async (visitor) => {
    await visitor.open();
    const total = await visitor.gallery.count();
    await visitor.seesTotal(total);
    await visitor.page.route('**/api/photos*', async (route) => {
      const answer = await route.fetch();
      const list = await answer.json();
      await route.fulfill({ json: { ...list, total: total + 1 } });
    });
    await visitor.scrollTo(0.6);
    await visitor.seesTotal(total + 1);
    const index = await visitor.firstTile();
    await visitor.until(
      (tile) => document.querySelector(`.cell[data-index="${tile}"] a[href]`),
      index,
    );
  });

  onDesktop('holds millions', async (visitor) => {
    const total = 3_000_000;
    await visitor.page.route('**/thumb/*', (route) => route.abort());
    await visitor.page.route('**/api/photos*', (route) => {
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
      await visitor.until(() =>
        [...document.querySelectorAll('.cell')].some(
          (cell) => cell.getBoundingClientRect().top >= 60 && cell.querySelector('a[href]'),
        ),
      );
      const index = await visitor.firstTile();
      await visitor.seesTile(index, { original_filename: `number ${index}.` });
      return index;
    };
    await visitor.open('/?sort=added');
    await visitor.seesTotal(total);
    await visitor.scrollTo(0.5);
    await visitor.until(() => Number(document.querySelector('.cell')?.dataset.index) > 1000);
    const middle = await firstSeen();
    assert.ok(Math.abs(middle - total / 2) < total / 50, `${middle} is about the middle`);
    await visitor.page.mouse.move(700, 500);
    await visitor.page.mouse.wheel(0, 400);
    await visitor.until((old) => {
      const cell = document.querySelector(`.cell[data-index="${old}"]`);
      return cell && cell.getBoundingClientRect().top < 0;
    }, middle);
    assert.ok((await firstSeen()) - middle < 50, 'a turn of the wheel is a few rows');
    await visitor.scrollTo(1);
    await visitor.seesTile(total - 1, { original_filename: `number ${total - 1}.` });
    const box = await visitor.tile(total - 1).boundingBox();
    assert.ok(box.y + box.height <= 900, 'the last photo can be seen whole');
  });
});

at('thumbnails', { photos: 120 }, ({ story }) => {
  story('come late, and show their colour meanwhile', async (visitor, window) => {
    const { gallery } = visitor;
    const { items } = await gallery.ask('/api/photos', { ext: '.jpg', page_size: 200 });
    const withOriginal = items.filter((item) => gallery.hasOriginal(item));
    const late = withOriginal[window === 'phone' ? 0 : 1];
    gallery.forgetThumbnail(late);
    const answers = [];
    visitor.page.on('response', (answer) => {
      if (answer.url().endsWith(`/thumb/${late.id}`)) answers.push(answer.status());
    });
    await visitor.open(`/?q=${encodeURIComponent(late.original_filename)}`);
    await visitor.seesTile(0, late);
    const tile = await visitor.tile(0).evaluate((link) => getComputedStyle(link).backgroundColor);
    assert.equal(tile, `rgb(${late.average_color.rgb.join(', ')})`);
    await visitor.until(() => document.querySelector('.cell img.shown')?.naturalWidth > 0);
    assert.deepEqual([answers[0], answers.at(-1)], [404, 200]);
  });
});

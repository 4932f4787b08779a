// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { LIBRARY, suite } from './harness.mjs';

suite('the lightbox', LIBRARY, (context) => {
  const { onPhone, onDesktop } = context;
  let newest, total;
  before(async () => {
    const query = { sort: 'newest', page_size: 200 };
    ({ items: newest, total } = await context.server.ask('/api/photos', query));
  });

  /** The index of the first photo whose original the server has. */
  const firstPicture = () => newest.findIndex((item) => context.server.hasOriginal(item));

  onDesktop('keys step, zoom, show details and close', async (driver) => {
    await driver.open();
    await driver.tile(0).waitFor();
    await driver.openPhoto(0);
    assert.ok(await driver.page.getByRole('button', { name: 'Previous photo' }).isDisabled());
    await driver.press('ArrowLeft');
    await driver.waitForPhoto(0, total);
    await driver.press('ArrowRight', 'ArrowRight');
    await driver.waitForPhoto(2);
    assert.equal(driver.query().photo, newest[2].id);
    await driver.press('ArrowLeft');
    await driver.waitForPhoto(1);
    const panel = driver.page.locator('.facts');
    const shown = await panel.isVisible();
    await driver.press('i');
    assert.equal(await panel.isVisible(), !shown);
    await driver.press('i', '+', '+');
    assert.ok((await driver.zoom()) > 2);
    await driver.press('ArrowRight');
    await driver.waitForPhoto(1);
    await driver.press('0');
    assert.equal(await driver.zoom(), 1);
    await driver.press('Escape');
    await driver.waitForClosedLightbox();
    assert.deepEqual(driver.query(), {});
    assert.equal(
      await driver.page.evaluate(() => document.activeElement.closest('.cell')?.dataset.index),
      '1',
    );
  });

  onPhone('touches step, zoom, show details and close', async (driver) => {
    const index = firstPicture();
    await driver.open(`/?photo=${newest[index].id}&at=${index}`);
    await driver.waitForPhoto(index);
    await driver.waitForPicture();
    await driver.swipe(-220, 10);
    await driver.waitForPhoto(index + 1);
    await driver.swipe(220, -10);
    await driver.waitForPhoto(index);
    await driver.swipe(-30, 0);
    await driver.waitForPhoto(index);
    const { width, height } = driver.page.viewportSize();
    await driver.page.touchscreen.tap(width / 2, height / 2);
    await driver.page.touchscreen.tap(width / 2, height / 2);
    assert.ok((await driver.zoom()) > 2, 'two taps zoom in');
    await driver.swipe(-220, 0);
    await driver.waitForPhoto(index);
    await driver.pinch(300, 40);
    assert.equal(await driver.zoom(), 1, 'and a pinch goes back');
    await driver.pinch(80, 240);
    assert.ok((await driver.zoom()) > 2);
    await driver.pinch(300, 40);
    await driver.swipe(0, -200);
    await driver.page.locator('.facts dl').waitFor();
    await driver.button('Details');
    await driver.swipe(0, 260);
    await driver.waitForClosedLightbox();
  });

  onDesktop('details show all of the record, with filters as links', async (driver) => {
    const index = newest.findIndex(
      (item) =>
        item.gps &&
        item.camera.model &&
        item.tags.length &&
        item.ml_labels.length &&
        item.place.country &&
        item.average_color &&
        item.target_path,
    );
    const item = newest[index];
    await driver.open(`/?photo=${item.id}&at=${index}`);
    await driver.waitForPhoto(index, total);
    const text = await driver.details();
    for (const part of [
      item.original_filename,
      item.place.country,
      item.camera.model,
      item.average_color.hex,
      ...item.tags,
      ...item.ml_labels,
      item.target_path,
      item.id,
      item.capture_date.slice(0, 4),
      item.capture_date.slice(11, 16),
      item.dimensions.width.toLocaleString('en-GB'),
      item.dimensions.height.toLocaleString('en-GB'),
      `${Math.abs(item.gps.lat).toFixed(4)}°`,
      `${Math.abs(item.gps.lon).toFixed(4)}°`,
    ]) {
      assert.ok(text.includes(part), `${part} in ${text}`);
    }
    await driver.link(item.ml_labels[0]);
    await driver.waitForClosedLightbox();
    assert.deepEqual(await driver.chips(), [`Label: ${item.ml_labels[0]}`]);
  });

  onPhone('back closes it after any number of steps', async (driver) => {
    await driver.open('/?sort=added');
    await driver.tile(2).waitFor();
    await driver.openPhoto(2);
    for (const index of [3, 4, 5]) {
      await driver.swipe(-220, 0);
      await driver.waitForPhoto(index);
    }
    await driver.page.goBack();
    await driver.waitForClosedLightbox();
    assert.deepEqual(driver.query(), { sort: 'added' });
    await driver.page.goForward();
    await driver.waitForPhoto(5);
  });

  onDesktop('loads neighbours in advance, also across a page of the list', async (driver) => {
    const loading = (index) =>
      driver.page.locator(`.full[src$="/img/${newest[index].id}"]`).waitFor({ state: 'attached' });
    await driver.open(`/?photo=${newest[98].id}&at=98`);
    await loading(97);
    for (const index of [99, 100, 101]) {
      await loading(index);
      await driver.press('ArrowRight');
      await driver.waitForPhoto(index, total);
      assert.equal(driver.query().photo, newest[index].id);
    }
  });

  onPhone('a video shows its frame and where it plays', async (driver) => {
    const { server } = driver;
    const query = { media_type: 'video', sort: 'newest', page_size: 60 };
    const { items } = await server.ask('/api/photos', query);
    const [there, away] = [true, false].map((is) =>
      items.findIndex((item) => server.hasOriginal(item) === is),
    );
    await driver.open('/?media_type=video');
    await driver.waitForTile(there, items[there]);
    await driver.openPhoto(there);
    await driver.waitForText('This video plays in the Vaultmere program on the computer.');
    await driver.waitForPicture();
    await driver.open(`/?media_type=video&photo=${items[away].id}&at=${away}`);
    await driver.waitForText('This video plays in the Vaultmere program on the computer.');
    await driver.waitForText('Its frame can’t be shown at the moment.');
  });

  onDesktop('an absent picture shows a message until it can be loaded', async (driver) => {
    const index = firstPicture();
    await driver.page.route('**/img/*', (route) => route.fulfill({ status: 404 }));
    await driver.open(`/?photo=${newest[index].id}&at=${index}`);
    await driver.waitForText('The full picture can’t be shown at the moment.');
    await driver.page.unroute('**/img/*');
    await driver.button('Try again');
    await driver.waitForPicture();
    assert.ok(!(await driver.page.getByText('The full picture can’t be shown').isVisible()));
  });

  onDesktop('links find moved photos and show deleted ones alone', async (driver) => {
    await driver.open(`/?photo=${newest[120].id}&at=40`);
    await driver.waitForPhoto(120, total);
    const gone = 'f'.repeat(64);
    await driver.open(`/?photo=${gone}&at=3`);
    await driver.waitForPhoto(0, 1);
    await driver.waitForText('The full picture can’t be shown');
    await driver.button('Close');
    await driver.waitForTotal(total);
  });
});

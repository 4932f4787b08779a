// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { at, LIBRARY } from './stage.mjs';

at('the lightbox', LIBRARY, (place) => {
  const { story, onPhone, onDesktop } = place;
  let newest, total;
  before(async () => {
    const query = { sort: 'newest', page_size: 200 };
    ({ items: newest, total } = await place.gallery.ask('/api/photos', query));
  });

  /** Where the first stands that the server can show large. */
  const firstPicture = () => newest.findIndex((item) => place.gallery.hasOriginal(item));

  onDesktop('by keys: open, step, details, zoom, close', async (visitor) => {
    await visitor.open();
    await visitor.tile(0).waitFor();
    await visitor.openPhoto(0);
    assert.ok(await visitor.page.getByRole('button', { name: 'Previous photo' }).isDisabled());
    await visitor.press('ArrowLeft');
    await visitor.seesPhoto(0, total);
    await visitor.press('ArrowRight', 'ArrowRight');
    await visitor.seesPhoto(2);
    assert.equal(visitor.query().photo, newest[2].id);
    await visitor.press('ArrowLeft');
    await visitor.seesPhoto(1);
    const panel = visitor.page.locator('.facts');
    const shown = await panel.isVisible();
    await visitor.press('i');
    assert.equal(await panel.isVisible(), !shown);
    await visitor.press('i', '+', '+');
    assert.ok((await visitor.zoom()) > 2);
    await visitor.press('ArrowRight');
    await visitor.seesPhoto(1);
    await visitor.press('0');
    assert.equal(await visitor.zoom(), 1);
    await visitor.press('Escape');
    await visitor.seesNoPhoto();
    assert.deepEqual(visitor.query(), {});
    assert.equal(
      await visitor.page.evaluate(() => document.activeElement.closest('.cell')?.dataset.index),
      '1',
    );
  });

  onPhone('by touch: swipe, zoom, pinch, details, close', async (visitor) => {
    const index = firstPicture();
    await visitor.open();
    await visitor.seesTile(index, newest[index]);
    await visitor.openPhoto(index);
    await visitor.seesPicture();
    await visitor.swipe(-220, 10);
    await visitor.seesPhoto(index + 1);
    await visitor.swipe(220, -10);
    await visitor.seesPhoto(index);
    await visitor.swipe(-30, 0);
    await visitor.seesPhoto(index);
    const { width, height } = visitor.page.viewportSize();
    await visitor.page.touchscreen.tap(width / 2, height / 2);
    await visitor.page.touchscreen.tap(width / 2, height / 2);
    assert.ok((await visitor.zoom()) > 2, 'two taps zoom in');
    await visitor.swipe(-220, 0);
    await visitor.seesPhoto(index);
    await visitor.pinch(300, 40);
    assert.equal(await visitor.zoom(), 1, 'and a pinch goes back');
    await visitor.pinch(80, 240);
    assert.ok((await visitor.zoom()) > 2);
    await visitor.pinch(300, 40);
    await visitor.swipe(0, -200);
    await visitor.page.locator('.facts dl').waitFor();
    await visitor.button('Details');
    await visitor.swipe(0, 260);
    await visitor.seesNoPhoto();
  });

  story('all that is known of a photo', async (visitor) => {
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
    await visitor.open(`/?photo=${item.id}&at=${index}`);
    await visitor.seesPhoto(index, total);
    const text = await visitor.details();
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
    await visitor.link(item.ml_labels[0]);
    await visitor.seesNoPhoto();
    assert.deepEqual(await visitor.chips(), [`Label: ${item.ml_labels[0]}`]);
  });

  onPhone('the back button closes it, whatever was stepped through', async (visitor) => {
    await visitor.open('/?sort=added');
    await visitor.tile(2).waitFor();
    await visitor.openPhoto(2);
    for (const index of [3, 4, 5]) {
      await visitor.swipe(-220, 0);
      await visitor.seesPhoto(index);
    }
    await visitor.page.goBack();
    await visitor.seesNoPhoto();
    assert.deepEqual(visitor.query(), { sort: 'added' });
    await visitor.page.goForward();
    await visitor.seesPhoto(5);
  });

  onDesktop('the neighbours are there before they are asked for', async (visitor) => {
    const asked = new Set();
    visitor.page.on('request', (request) => asked.add(new URL(request.url()).pathname));
    await visitor.open(`/?photo=${newest[5].id}&at=5`);
    for (const index of [4, 6]) {
      await visitor.page
        .locator(`.full[src$="/img/${newest[index].id}"]`)
        .waitFor({ state: 'attached' });
    }
    await visitor.press('ArrowRight');
    await visitor.seesPhoto(6);
    await visitor.page.locator(`.full[src$="/img/${newest[7].id}"]`).waitFor({ state: 'attached' });
    assert.ok(asked.has(`/img/${newest[5].id}`));
  });

  onPhone('a video says where it plays, and shows its frame', async (visitor) => {
    const { gallery } = visitor;
    const query = { media_type: 'video', sort: 'newest', page_size: 60 };
    const { items } = await gallery.ask('/api/photos', query);
    const [there, away] = [true, false].map((is) =>
      items.findIndex((item) => gallery.hasOriginal(item) === is),
    );
    await visitor.open('/?media_type=video');
    await visitor.seesTile(there, items[there]);
    await visitor.openPhoto(there);
    await visitor.sees('This video plays in the Vaultmere program on the computer.');
    await visitor.seesPicture();
    await visitor.open(`/?media_type=video&photo=${items[away].id}&at=${away}`);
    await visitor.sees('This video plays in the Vaultmere program on the computer.');
    await visitor.sees('Its frame can’t be shown at the moment.');
  });

  onDesktop('a picture that can’t be had, until it can', async (visitor) => {
    const index = firstPicture();
    await visitor.page.route('**/img/*', (route) => route.fulfill({ status: 404 }));
    await visitor.open(`/?photo=${newest[index].id}&at=${index}`);
    await visitor.sees('The full picture can’t be shown at the moment.');
    await visitor.page.unroute('**/img/*');
    await visitor.button('Try again');
    await visitor.seesPicture();
    assert.ok(!(await visitor.page.getByText('The full picture can’t be shown').isVisible()));
  });

  onDesktop('links to photos that have moved, or gone', async (visitor) => {
    await visitor.open(`/?photo=${newest[120].id}&at=40`);
    await visitor.seesPhoto(120, total);
    const gone = 'f'.repeat(64);
    await visitor.open(`/?photo=${gone}&at=3`);
    await visitor.seesPhoto(0, 1);
    await visitor.sees('The full picture can’t be shown');
    await visitor.button('Close');
    await visitor.seesTotal(total);
  });

  onDesktop('stepping across the end of a loaded page', async (visitor) => {
    await visitor.open(`/?photo=${newest[98].id}&at=98`);
    await visitor.seesPhoto(98, total);
    for (const index of [99, 100, 101]) {
      await visitor.press('ArrowRight');
      await visitor.seesPhoto(index);
      assert.equal(visitor.query().photo, newest[index].id);
    }
  });
});

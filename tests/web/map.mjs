// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { LIBRARY, suite } from './harness.mjs';

/** The number of photos of each marker. */
const markers = (driver, selector = '.marker') =>
  driver.page
    .locator(selector)
    .evaluateAll((all) =>
      all.map((marker) => parseInt(marker.getAttribute('aria-label').replaceAll(',', ''), 10)),
    );

suite('the map', LIBRARY, (context) => {
  const { onPhone, onDesktop } = context;
  let points;
  before(async () => {
    points = (await context.server.ask('/api/geo')).features;
  });

  onPhone('clusters hold all points and zoom in when pressed', async (driver) => {
    await driver.open('/?view=map');
    await driver.waitForTotal(points.length);
    await driver.page.locator('.marker').first().waitFor();
    const sum = (await markers(driver)).reduce((a, b) => a + b, 0);
    assert.equal(sum, points.length);
    await driver.waitUntil(() => new URLSearchParams(location.search).get('centre'));
    const zoom = () => Number(driver.query().centre.split(',')[2]);
    const before = zoom();
    const many = driver.page.locator('.marker.many');
    const sizes = await markers(driver, '.marker.many');
    await many.nth(sizes.indexOf(Math.max(...sizes))).click();
    await driver.waitUntil(
      (low) => Number(new URLSearchParams(location.search).get('centre').split(',')[2]) > low + 0.5,
      before,
    );
    assert.ok(!(await driver.page.locator('#lightbox').isVisible()), 'a cluster opens no photo');
  });

  onPhone('the view opens in the gallery as an area', async (driver) => {
    const [lon, lat] = points[0].geometry.coordinates;
    await driver.open(`/?view=map&centre=${lat},${lon},9`);
    const button = driver.page.getByRole('button', { name: /^Show .* in the gallery$/ });
    await button.waitFor();
    const inView = Number((await button.innerText()).replace(/[^\d]/g, ''));
    assert.ok(inView > 0 && inView < points.length);
    await button.click();
    await driver.waitForTotal(inView);
    assert.deepEqual(await driver.chips(), ['Area on the map']);
    const [west, south, east, north] = driver.query().area.split(',').map(Number);
    const isInside = ([x, y]) => x >= west && x <= east && y >= south && y <= north;
    const inside = points
      .filter(({ geometry }) => isInside(geometry.coordinates))
      .map(({ properties: { id } }) => id);
    assert.equal(inside.length, inView);
    await driver.tile(0).click();
    await driver.waitForPhoto(0, inView);
    assert.ok(inside.includes(driver.query().photo));
    assert.ok((await driver.details()).includes('°'));
  });

  onDesktop('keys, wheel, mouse and buttons move and zoom the map', async (driver) => {
    await driver.open('/?view=map&centre=20,10,4');
    await driver.page.locator('.marker').first().waitFor();
    const ground = driver.page.locator('.ground');
    await ground.focus();
    const { x, y } = await ground.boundingBox();
    const { mouse } = driver.page;
    const turnWheel = async () => {
      await mouse.move(x + 300, y + 300);
      await mouse.wheel(0, -300);
    };
    const drag = async () => {
      await mouse.down();
      await mouse.move(760, 520, { steps: 4 });
      await mouse.up();
    };
    const [latitude, longitude, zoom] = [0, 1, 2];
    for (const [action, what, direction] of [
      [() => driver.press('ArrowRight'), longitude, 1],
      [() => driver.press('ArrowUp'), latitude, 1],
      [() => driver.press('+'), zoom, 1],
      [turnWheel, zoom, 1],
      [drag, longitude, -1],
      [() => driver.button('Frame all photos'), zoom, -1],
    ]) {
      await driver.waitUntil(() => new URLSearchParams(location.search).get('centre'));
      const before = driver.query().centre;
      await action();
      await driver.waitUntil(
        ([old, at, sign]) => {
          const now = new URLSearchParams(location.search).get('centre') ?? old;
          return Math.sign(now.split(',')[at] - old.split(',')[at]) === sign;
        },
        [before, what, direction],
      );
    }
  });

  onDesktop('a photo’s position opens the map, whose strip opens photos', async (driver) => {
    const { items } = await driver.server.ask('/api/photos', { sort: 'newest', page_size: 200 });
    const index = items.findIndex((item) => item.gps);
    await driver.open(`/?photo=${items[index].id}&at=${index}`);
    await driver.waitForPhoto(index);
    await driver.details();
    await driver.link('Show on the map');
    await driver.waitUntil(() => document.body.dataset.view === 'map');
    const [lat, lon] = driver.query().centre.split(',').map(Number);
    assert.ok(
      Math.abs(lat - items[index].gps.lat) < 0.01 && Math.abs(lon - items[index].gps.lon) < 0.01,
    );
    await driver.page.locator('.strip button').first().click();
    await driver.waitForAnyPhoto();
    assert.ok((await driver.details()).includes('°'));
  });
});

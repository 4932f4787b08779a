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
    const inside = points
      .filter(
        ({
          geometry: {
            coordinates: [x, y],
          },
        }) => x >= west && x <= east && y >= south && y <= north,
      )
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
    const camera = () => driver.query().centre.split(',').map(Number);
    const turned = (from) =>
      driver.waitUntil((old) => new URLSearchParams(location.search).get('centre') !== old, from);
    const step = async (action, holds) => {
      await driver.waitUntil(() => new URLSearchParams(location.search).get('centre'));
      const old = camera();
      await action();
      await turned(driver.query().centre);
      const now = camera();
      assert.ok(holds(old, now), `${old} to ${now}`);
    };
    await driver.page.locator('.ground').focus();
    await step(
      () => driver.press('ArrowRight'),
      ([, old], [, now]) => now > old,
    );
    await step(
      () => driver.press('ArrowUp'),
      ([old], [now]) => now > old,
    );
    await step(
      () => driver.press('+'),
      ([, , old], [, , now]) => now > old,
    );
    await step(
      async () => {
        const { x, y } = await driver.page.locator('.ground').boundingBox();
        await driver.page.mouse.move(x + 300, y + 300);
        await driver.page.mouse.wheel(0, -300);
      },
      ([, , old], [, , now]) => now > old,
    );
    await step(
      async () => {
        await driver.page.mouse.down();
        await driver.page.mouse.move(760, 520, { steps: 4 });
        await driver.page.mouse.up();
      },
      ([, old], [, now]) => now < old,
    );
    await step(
      () => driver.button('Frame all photos'),
      ([, , old], [, , now]) => now < old,
    );
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
    const strip = driver.page.locator('.strip button').first();
    await strip.click();
    await driver.waitUntil(() => document.querySelector('#lightbox[open] .counter')?.textContent);
    assert.ok((await driver.details()).includes('°'));
  });
});

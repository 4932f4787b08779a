// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { at, LIBRARY } from './stage.mjs';

const markers = (visitor) =>
  visitor.page
    .locator('.marker')
    .evaluateAll((all) =>
      all.map((marker) => parseInt(marker.getAttribute('aria-label').replaceAll(',', ''), 10)),
    );

at('the map', LIBRARY, (place) => {
  const { story, onPhone, onDesktop } = place;
  let points;
  before(async () => {
    points = (await place.gallery.ask('/api/geo')).features;
  });

  story('all points in clusters, coming apart when pressed', async (visitor) => {
    await visitor.open('/?view=map');
    await visitor.seesTotal(points.length);
    await visitor.page.locator('.marker').first().waitFor();
    const sum = (await markers(visitor)).reduce((a, b) => a + b, 0);
    assert.equal(sum, points.length);
    await visitor.until(() => new URLSearchParams(location.search).get('centre'));
    const zoom = () => Number(visitor.query().centre.split(',')[2]);
    const before = zoom();
    const many = visitor.page.locator('.marker.many');
    const sizes = await many.evaluateAll((all) =>
      all.map((marker) => parseInt(marker.getAttribute('aria-label').replaceAll(',', ''), 10)),
    );
    await many.nth(sizes.indexOf(Math.max(...sizes))).click();
    await visitor.until(
      (low) => Number(new URLSearchParams(location.search).get('centre').split(',')[2]) > low + 0.5,
      before,
    );
    assert.ok(!(await visitor.page.locator('#lightbox').isVisible()), 'a cluster opens no photo');
  });

  onPhone('what is in view goes to the gallery as an area', async (visitor) => {
    const [lon, lat] = points[0].geometry.coordinates;
    await visitor.open(`/?view=map&centre=${lat},${lon},9`);
    const button = visitor.page.getByRole('button', { name: /^Show .* in the gallery$/ });
    await button.waitFor();
    const inView = Number((await button.innerText()).replace(/[^\d]/g, ''));
    assert.ok(inView > 0 && inView < points.length);
    await button.click();
    await visitor.seesTotal(inView);
    assert.deepEqual(await visitor.chips(), ['Area on the map']);
    const [west, south, east, north] = visitor.query().area.split(',').map(Number);
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
    await visitor.tile(0).click();
    await visitor.seesPhoto(0, inView);
    assert.ok(inside.includes(visitor.query().photo));
    assert.ok((await visitor.details()).includes('°'));
  });

  onDesktop('by keys, wheel and buttons', async (visitor) => {
    await visitor.open('/?view=map&centre=20,10,4');
    await visitor.page.locator('.marker').first().waitFor();
    const camera = () => visitor.query().centre.split(',').map(Number);
    const turned = (from) =>
      visitor.until((old) => new URLSearchParams(location.search).get('centre') !== old, from);
    const step = async (action, holds) => {
      await visitor.until(() => new URLSearchParams(location.search).get('centre'));
      const old = camera();
      await action();
      await turned(visitor.query().centre);
      const now = camera();
      assert.ok(holds(old, now), `${old} to ${now}`);
    };
    await visitor.page.locator('.ground').focus();
    await step(
      () => visitor.press('ArrowRight'),
      ([, old], [, now]) => now > old,
    );
    await step(
      () => visitor.press('ArrowUp'),
      ([old], [now]) => now > old,
    );
    await step(
      () => visitor.press('+'),
      ([, , old], [, , now]) => now > old,
    );
    await step(
      async () => {
        const { x, y } = await visitor.page.locator('.ground').boundingBox();
        await visitor.page.mouse.move(x + 300, y + 300);
        await visitor.page.mouse.wheel(0, -300);
      },
      ([, , old], [, , now]) => now > old,
    );
    await step(
      async () => {
        await visitor.page.mouse.down();
        await visitor.page.mouse.move(760, 520, { steps: 4 });
        await visitor.page.mouse.up();
      },
      ([, old], [, now]) => now < old,
    );
    await step(
      () => visitor.button('Frame all photos'),
      ([, , old], [, , now]) => now < old,
    );
  });

  onDesktop('a photo’s position leads there, a lone point opens', async (visitor) => {
    const { items } = await visitor.gallery.ask('/api/photos', { sort: 'newest', page_size: 200 });
    const index = items.findIndex((item) => item.gps);
    await visitor.open(`/?photo=${items[index].id}&at=${index}`);
    await visitor.seesPhoto(index);
    await visitor.details();
    await visitor.link('Show on the map');
    await visitor.until(() => document.body.dataset.view === 'map');
    const [lat, lon] = visitor.query().centre.split(',').map(Number);
    assert.ok(
      Math.abs(lat - items[index].gps.lat) < 0.01 && Math.abs(lon - items[index].gps.lon) < 0.01,
    );
    const strip = visitor.page.locator('.strip button').first();
    await strip.click();
    await visitor.until(() => document.querySelector('#lightbox[open] .counter')?.textContent);
    assert.ok((await visitor.details()).includes('°'));
  });
});

// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { startGallery } from './gallery.mjs';
import { inEachWindow, openBrowser, visit, WINDOWS } from './visitor.mjs';

const browsers = {};
let gallery, facets, points, colours;

before(async () => {
  gallery = await startGallery();
  facets = await gallery.ask('/api/stats');
  points = (await gallery.ask('/api/geo')).features;
  colours = await gallery.ask('/api/colors');
  for (const [name, window] of Object.entries(WINDOWS)) browsers[name] = await openBrowser(window);
});

after(async () => {
  for (const browser of Object.values(browsers)) await browser.close();
  await gallery?.stop();
});

const story = (name, tell) =>
  inEachWindow(
    test,
    () => browsers,
    () => gallery,
    name,
    tell,
  );
const onDesktop = (name, tell) => test(name, () => visit(browsers.desktop, gallery, tell));
const countOf = async (query) => (await gallery.ask(`/api/photos?page_size=1&${query}`)).total;

/** Whether every canvas in view has been drawn on. */
const allDrawn = () =>
  [...document.querySelectorAll('main section:not([hidden]) canvas')].every((canvas) => {
    const { width, height } = canvas;
    const { data } = canvas.getContext('2d').getImageData(0, 0, width, height);
    const first = data.slice(0, 4).join();
    for (let i = 4; i < data.length; i += 4) if (data.slice(i, i + 4).join() !== first) return true;
    return false;
  });

// --- Statistics

story('statistics: the numbers of the server, in cards, charts and lists', async (visitor) => {
  await visitor.open('/?view=statistics');
  await visitor.sees(facets.totals.total.toLocaleString('en-GB'));
  await visitor.until(allDrawn);
  const titles = await visitor.page.locator('section.panel h2').allTextContents();
  assert.deepEqual([...titles].sort(), [
    'Albums',
    'Cameras',
    'Colour and black and white',
    'Colours',
    'File sizes',
    'Formats',
    'Labels',
    'Media',
    'Places',
    'Years',
  ]);
  const panel = visitor.page.locator('section.panel', { hasText: 'Places' });
  await panel.getByText('As a list').click();
  const [{ id, n }] = facets.top_places;
  const row = panel.locator('li', { hasText: id });
  assert.equal(
    await row.innerText().then((text) => text.replace(/\s+/g, ' ')),
    `${id} ${n.toLocaleString('en-GB')}`,
  );
  await row.getByRole('link').click();
  await visitor.seesTotal(n);
  assert.deepEqual(visitor.query(), { place: id });
});

onDesktop('statistics: a press on a bar filters the gallery', async (visitor) => {
  await visitor.open('/?view=statistics');
  const canvas = visitor.page.locator('section.panel', { hasText: 'Years' }).locator('canvas');
  await visitor.until(allDrawn);
  const { x, y, width, height } = await canvas.boundingBox();
  await visitor.page.mouse.click(x + width - 30, y + height - 40);
  const { id, n } = facets.by_year.at(-1);
  await visitor.seesTotal(n);
  assert.deepEqual(await visitor.chips(), [id]);
});

onDesktop('statistics: without the chart library there are lists', async (visitor) => {
  await visitor.page.route('**/vendor/*', (route) => route.abort());
  await visitor.open('/?view=statistics');
  await visitor.sees('The charts couldn’t be loaded');
  await visitor.link(facets.by_year[0].id);
  await visitor.seesTotal(facets.by_year[0].n);
});

// --- Colours

story('colours: a block opens its photo, with all that is known of it', async (visitor, window) => {
  await visitor.open('/?view=colours');
  await visitor.seesTotal(colours.length);
  await visitor.until(allDrawn);
  const { x, y } = await visitor.page.locator('.field-of-colour').boundingBox();
  if (window === 'phone') await visitor.page.touchscreen.tap(x + 150, y + 210);
  else await visitor.page.mouse.click(x + 150, y + 210);
  await visitor.until(() => document.querySelector('#lightbox[open] .counter')?.textContent);
  const { photo } = visitor.query();
  const { hex } = colours.find(({ id }) => id === photo);
  const text = await visitor.details();
  assert.ok(text.includes(hex) && text.includes(photo), text);
  await visitor.page.goBack();
  await visitor.seesNoPhoto();
});

story('colours: a family leads into the gallery', async (visitor) => {
  await visitor.open('/?view=colours');
  const { name } = facets.colors.find(({ name: family }) => family === 'Blue') ?? facets.colors[0];
  await visitor.page.getByRole('link', { name: new RegExp(`^${name}, `) }).click();
  await visitor.seesTotal(await countOf(`color=${name}`));
  assert.deepEqual(await visitor.chips(), [name]);
});

onDesktop('colours: by keys, and with the filters', async (visitor) => {
  const label = facets.top_labels[0].id;
  const those = await gallery.ask(`/api/colors?label=${encodeURIComponent(label)}`);
  await visitor.open(`/?view=colours&label=${encodeURIComponent(label)}`);
  await visitor.seesTotal(those.length);
  await visitor.page.getByRole('application').focus();
  await visitor.press('ArrowRight', 'ArrowRight', 'ArrowDown');
  await visitor.until(
    (of) => document.querySelector('#colours [role=status]').textContent.includes(` of ${of}`),
    those.length.toLocaleString('en-GB'),
  );
  await visitor.press('Enter');
  await visitor.until(() => document.querySelector('#lightbox[open] .counter')?.textContent);
  assert.ok(those.some(({ id }) => id === visitor.query().photo));
});

// --- Map

const markers = (visitor) =>
  visitor.page
    .locator('.marker')
    .evaluateAll((all) =>
      all.map((marker) => parseInt(marker.getAttribute('aria-label').replaceAll(',', ''), 10)),
    );

story('map: all points in clusters, coming apart when pressed', async (visitor) => {
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

story('map: what is in view goes to the gallery as an area', async (visitor) => {
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

onDesktop('map: by keys, wheel and buttons', async (visitor) => {
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

onDesktop('map: a photo’s position leads there, a lone point opens', async (visitor) => {
  const { items } = await gallery.ask('/api/photos?sort=newest&page_size=200');
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

// --- All of them

story('everything that can be pressed has a name', async (visitor) => {
  for (const path of [
    '/',
    '/?view=colours',
    '/?view=map',
    '/?view=statistics',
    `/?favorite=1&photo=${points[0].properties.id}`,
  ]) {
    await visitor.open(path);
    await visitor.until(() => document.querySelector('.cell a[href], .families a, .marker, .card'));
    const nameless = await visitor.page
      .locator('button, a, input, select, [role], dialog, canvas')
      .evaluateAll((all) =>
        all
          .filter((element) => {
            if (!element.checkVisibility() || element.closest('[aria-hidden=true]')) return false;
            if (['listitem', 'status', 'alert', 'search'].includes(element.getAttribute('role')))
              return false;
            const name = element.getAttribute('aria-label') ?? element.innerText ?? '';
            const byLabel = [...(element.labels ?? [])].some((label) => label.textContent.trim());
            const by = document.getElementById(element.getAttribute('aria-labelledby'));
            return !(name.trim() || byLabel || by || element.title);
          })
          .map((element) => element.outerHTML.slice(0, 120)),
      );
    assert.deepEqual(nameless, [], path);
  }
});

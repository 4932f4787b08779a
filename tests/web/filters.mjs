// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { LIBRARY, suite } from './harness.mjs';

const DAY = 86_400_000;

const select = (label, value) => async (panel) =>
  panel.getByLabel(label, { exact: true }).selectOption(value);

/** Each filter: how it's chosen, what the server is to be asked, what the chip says. */
function choices({
  by_year,
  by_format,
  by_size,
  colors,
  cameras,
  top_places,
  top_albums,
  top_labels,
}) {
  const [year, format, size, colour] = [by_year.at(-1), by_format[1], by_size.at(-1), colors[0]];
  const [camera, place, label] = [cameras[0].id, top_places[0].id, top_labels[0].id];
  const album = top_albums.find(({ id }) => id.includes('<')).id;
  return [
    [select('Year', year.id), { year: year.id }, year.id],
    [select('Media', 'live_photo'), { media_type: 'live_photo' }, 'Live Photos'],
    [select('Format', format.id), { ext: format.id }, format.id.replace('.', '').toUpperCase()],
    [
      (panel) => panel.getByTitle(new RegExp(`^${colour.name}, `)).click(),
      { color: colour.name },
      colour.name,
    ],
    [select('File size', size.id), { size: size.id }, size.id],
    [select('Camera', `=${camera}`), { camera }, camera],
    [select('Camera', 'none'), { no_camera: '1' }, 'No camera'],
    [select('Place', place), { place }, place],
    [select('Album', album), { tag: album }, `Album: ${album}`],
    [select('Label', label), { label }, `Label: ${label}`],
    [(panel) => panel.getByLabel('Favourites only').check(), { favorite: '1' }, 'Favourites'],
  ];
}

suite('filters', LIBRARY, (context) => {
  const { onPhone, onDesktop } = context;
  let facets, all;
  before(async () => {
    facets = await context.server.ask('/api/stats');
    all = facets.totals.total;
  });
  const panelOf = ({ page }) => page.getByRole('dialog', { name: 'Filters' });

  const showsTotal = (panel, total) =>
    panel.getByRole('button', { name: `Show ${total.toLocaleString('en-GB')} photo` });

  onDesktop(
    'each choice in the panel asks the server for its filter and shows its chip',
    async (driver) => {
      const panel = panelOf(driver);
      await driver.open();
      await driver.button('Filters');
      for (const [pick, query, chip] of choices(facets)) {
        await pick(panel);
        const total = await driver.server.count(query);
        assert.ok(total > 0 && total < all, `${chip}: ${total}`);
        await showsTotal(panel, total).waitFor();
        assert.deepEqual(await driver.chips(), [chip]);
        assert.deepEqual(driver.query(), query);
        await panel.getByRole('button', { name: 'Clear all' }).click();
        await showsTotal(panel, all).waitFor();
      }
    },
  );

  onPhone('two filters combine, and follow chips, back and reload', async (driver) => {
    const panel = panelOf(driver);
    await driver.open();
    await driver.waitForTotal(all);
    await driver.button('Filters');
    const [, media, , , , camera] = choices(facets);
    for (const [pick] of [media, camera]) await pick(panel);
    const both = await driver.server.count({ ...media[1], ...camera[1] });
    const second = await driver.server.count(camera[1]);
    await showsTotal(panel, both).click();
    await driver.waitForTotal(both);
    assert.deepEqual(await driver.chips(), [media[2], camera[2]]);
    await driver.button(`Remove filter: ${media[2]}`);
    await driver.waitForTotal(second);
    await driver.page.goBack();
    await driver.waitForTotal(both);
    await driver.page.goForward();
    await driver.waitForTotal(second);
    await driver.page.reload();
    await driver.waitForTotal(second);
    await driver.button(`Remove filter: ${camera[2]}`);
    await driver.waitForTotal(all);
    assert.deepEqual(driver.query(), {});
  });

  onPhone('the last day counts whole, without midnight of the next day', async (driver) => {
    const asked = [];
    driver.page.on('request', (request) => asked.push(new URL(request.url())));
    const { items } = await driver.server.ask('/api/photos', { sort: 'oldest', page_size: 200 });
    const day = items.at(-1).capture_date.slice(0, 10);
    const next = new Date(Date.parse(day) + DAY).toISOString().slice(0, 10);
    const before = await driver.server.count({ date_before: day });
    const through = await driver.server.count({ date_before: next });
    assert.ok(before > 0 && through > before && through < all, `${before}, ${through}`);
    await driver.open(`/?date_from=${day}&date_to=${day}`);
    await driver.waitForTotal(through - before);
    const { searchParams } = asked.find(({ pathname }) => pathname === '/api/photos');
    assert.deepEqual([searchParams.get('date_before'), searchParams.get('date_to')], [next, null]);
    assert.equal((await driver.chips()).length, 2);
    await driver.button('Filters');
    const [{ id: year }] = facets.by_year;
    await panelOf(driver).getByLabel('Year').selectOption(year);
    await panelOf(driver)
      .getByRole('button', { name: /^Show / })
      .click();
    assert.deepEqual(await driver.chips(), [year], 'a year replaces dates');
  });

  onDesktop('a typed search is one step of the history, and may find nothing', async (driver) => {
    await driver.open();
    await driver.waitForTotal(all);
    await driver.press('/');
    const field = driver.page.getByRole('searchbox');
    const word = facets.top_labels[0].id.toUpperCase();
    for (const text of [word.slice(0, 2), word]) {
      await field.fill(text);
      await driver.waitUntil((q) => new URLSearchParams(location.search).get('q') === q, text);
    }
    await driver.waitForTotal(await driver.server.count({ q: word }));
    await driver.page.goBack();
    await driver.waitForTotal(all);
    await field.fill('nothing is called this');
    await driver.waitForText('No photos match these filters.');
    await driver.button('Clear the filters');
    await driver.waitForTotal(all);
    assert.equal(await field.inputValue(), '');
  });

  onDesktop('ignores invalid values in the address', async (driver) => {
    const chips = {
      '/?year=MMXX': 0,
      '/?date_from=2021-02-30': 0,
      '/?favorite=perhaps': 0,
      '/?view=nowhere&sort=sideways': 0,
      '/?area=1,2,3': 0,
      '/?unknown=1&page=9': 0,
      '/?size=huge': 1,
    };
    for (const [path, count] of Object.entries(chips)) {
      await driver.open(path);
      await driver.waitForTotal(all);
      assert.equal((await driver.chips()).length, count, path);
    }
    await driver.open('/?camera=Nobody%27s%20%22Box%22%20%3Cb%3E&q=%20%20');
    await driver.waitForText('No photos match these filters.');
    assert.deepEqual(await driver.chips(), ['Nobody\'s "Box" <b>']);
  });
});

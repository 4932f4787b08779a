// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { at, LIBRARY } from './stage.mjs';

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

at('filters', LIBRARY, (place) => {
  const { story, onPhone, onDesktop } = place;
  let facets, all;
  before(async () => {
    facets = await place.gallery.ask('/api/stats');
    all = facets.totals.total;
  });
  const panelOf = ({ page }) => page.getByRole('dialog', { name: 'Filters' });

  const showsTotal = (panel, total) =>
    panel.getByRole('button', { name: `Show ${total.toLocaleString('en-GB')} photo` });

  onDesktop('narrow, each in its way', async (visitor) => {
    const panel = panelOf(visitor);
    await visitor.open();
    await visitor.button('Filters');
    for (const [pick, query, chip] of choices(facets)) {
      await pick(panel);
      const total = await visitor.gallery.count(query);
      assert.ok(total > 0 && total < all, `${chip}: ${total}`);
      await showsTotal(panel, total).waitFor();
      assert.deepEqual(await visitor.chips(), [chip]);
      assert.deepEqual(visitor.query(), query);
      await panel.getByRole('button', { name: 'Clear all' }).click();
      await showsTotal(panel, all).waitFor();
    }
  });

  story('come together, show chips, and come off again', async (visitor) => {
    const panel = panelOf(visitor);
    await visitor.open();
    await visitor.seesTotal(all);
    await visitor.button('Filters');
    const [, media, , , , camera] = choices(facets);
    for (const [pick] of [media, camera]) await pick(panel);
    const both = await visitor.gallery.count({ ...media[1], ...camera[1] });
    await showsTotal(panel, both).click();
    await visitor.seesTotal(both);
    assert.deepEqual(await visitor.chips(), [media[2], camera[2]]);
    await visitor.button(`Remove filter: ${media[2]}`);
    await visitor.seesTotal(await visitor.gallery.count(camera[1]));
    await visitor.button(`Remove filter: ${camera[2]}`);
    await visitor.seesTotal(all);
    assert.deepEqual(visitor.query(), {});
  });

  onPhone('by dates count the last day as a whole', async (visitor) => {
    const { items } = await visitor.gallery.ask('/api/photos', { sort: 'newest', page_size: 200 });
    const { capture_date: stamp } = items.find(({ capture_date: time }) => /T1\d/.test(time));
    const day = stamp.slice(0, 10);
    await visitor.open(`/?date_from=${day}&date_to=${day}`);
    const next = new Date(Date.parse(day) + DAY).toISOString().slice(0, 10);
    const total = await visitor.gallery.count({ date_from: day, date_to: next });
    assert.ok(total > 0);
    await visitor.seesTotal(total);
    assert.equal((await visitor.chips()).length, 2);
    await visitor.button('Filters');
    const [{ id: year }] = facets.by_year;
    await panelOf(visitor).getByLabel('Year').selectOption(year);
    await panelOf(visitor)
      .getByRole('button', { name: /^Show / })
      .click();
    assert.deepEqual(await visitor.chips(), [year], 'a year takes the place of dates');
  });

  story('search, and find nothing', async (visitor) => {
    await visitor.open();
    const field = visitor.page.getByRole('searchbox');
    const word = facets.top_labels[0].id.slice(0, 4).toUpperCase();
    await field.fill(word);
    await visitor.seesTotal(await visitor.gallery.count({ q: word }));
    assert.equal(visitor.query().q, word);
    await field.fill('nothing is called this');
    await visitor.sees('No photos match these filters.');
    await visitor.button('Clear the filters');
    await visitor.seesTotal(all);
    assert.equal(await field.inputValue(), '');
  });

  onDesktop('stand in the address: back, forward and a shared link', async (visitor) => {
    await visitor.open();
    await visitor.seesTotal(all);
    const [{ id: country }] = facets.top_places;
    const [{ id: label }] = facets.top_labels;
    const both = await visitor.gallery.count({ place: country, label });
    const labelled = await visitor.gallery.count({ label });
    const query = `place=${encodeURIComponent(country)}&label=${encodeURIComponent(label)}`;
    await visitor.open(`/?${query}&sort=oldest`);
    await visitor.seesTotal(both);
    await visitor.button(`Remove filter: ${country}`);
    await visitor.seesTotal(labelled);
    await visitor.page.goBack();
    await visitor.seesTotal(both);
    await visitor.page.goForward();
    await visitor.seesTotal(labelled);
    await visitor.page.goBack();
    await visitor.page.reload();
    await visitor.seesTotal(both);
    assert.equal(await visitor.page.getByLabel('Sort').inputValue(), 'oldest');
  });

  onDesktop('that nobody should have typed', async (visitor) => {
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
      await visitor.open(path);
      await visitor.seesTotal(all);
      assert.equal((await visitor.chips()).length, count, path);
    }
    await visitor.open('/?camera=Nobody%27s%20%22Box%22%20%3Cb%3E&q=%20%20');
    await visitor.sees('No photos match these filters.');
    assert.deepEqual(await visitor.chips(), ['Nobody\'s "Box" <b>']);
  });

  onDesktop('typed as a search leave one step in the history', async (visitor) => {
    await visitor.open();
    await visitor.seesTotal(all);
    await visitor.press('/');
    const [{ id: label }] = facets.top_labels;
    for (const text of [label.slice(0, 2), label]) {
      await visitor.page.getByRole('searchbox').fill(text);
      await visitor.until((q) => new URLSearchParams(location.search).get('q') === q, text);
    }
    await visitor.page.goBack();
    await visitor.seesTotal(all);
  });
});

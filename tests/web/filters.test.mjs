// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { startGallery } from './gallery.mjs';
import { inEachWindow, openBrowser, visit, WINDOWS } from './visitor.mjs';

const browsers = {};
let gallery, facets;

before(async () => {
  gallery = await startGallery();
  facets = await gallery.ask('/api/stats');
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
const countOf = async (query) =>
  (
    await gallery.ask(
      `/api/photos?page_size=1&${new URLSearchParams(query).toString().replaceAll('+', '%20')}`,
    )
  ).total;

const choose = (label, pick) => async (panel) =>
  panel.getByLabel(label, { exact: true }).selectOption(pick());

// label: [how it's chosen, what the server is to be asked, what the chip says]
const CHOICES = {
  year: [
    choose('Year', () => facets.by_year.at(-1).id),
    () => ({ year: facets.by_year.at(-1).id }),
    () => facets.by_year.at(-1).id,
  ],
  media: [
    choose('Media', () => 'live_photo'),
    () => ({ media_type: 'live_photo' }),
    () => 'Live Photos',
  ],
  format: [
    choose('Format', () => facets.by_format[1].id),
    () => ({ ext: facets.by_format[1].id }),
    () => facets.by_format[1].id.replace('.', '').toUpperCase(),
  ],
  colour: [
    (panel) => panel.getByTitle(new RegExp(`^${facets.colors[0].name}, `)).click(),
    () => ({ color: facets.colors[0].name }),
    () => facets.colors[0].name,
  ],
  size: [
    choose('File size', () => facets.by_size.at(-1).id),
    () => ({ size: facets.by_size.at(-1).id }),
    () => facets.by_size.at(-1).id,
  ],
  camera: [
    choose('Camera', () => `=${facets.cameras[0].id}`),
    () => ({ camera: facets.cameras[0].id }),
    () => facets.cameras[0].id,
  ],
  'no camera': [choose('Camera', () => 'none'), () => ({ no_camera: '1' }), () => 'No camera'],
  place: [
    choose('Place', () => facets.top_places[0].id),
    () => ({ place: facets.top_places[0].id }),
    () => facets.top_places[0].id,
  ],
  album: [
    choose('Album', () => facets.top_albums.at(-1).id),
    () => ({ tag: facets.top_albums.at(-1).id }),
    () => `Album: ${facets.top_albums.at(-1).id}`,
  ],
  label: [
    choose('Label', () => facets.top_labels[0].id),
    () => ({ label: facets.top_labels[0].id }),
    () => `Label: ${facets.top_labels[0].id}`,
  ],
  favourites: [
    (panel) => panel.getByLabel('Favourites only').check(),
    () => ({ favorite: '1' }),
    () => 'Favourites',
  ],
};

story('each filter narrows, shows a chip, and comes off again', async (visitor) => {
  const panel = visitor.page.getByRole('dialog', { name: 'Filters' });
  for (const [name, [pick, query, chip]] of Object.entries(CHOICES)) {
    await visitor.open();
    await visitor.seesTotal(facets.totals.total);
    await visitor.button('Filters');
    await pick(panel);
    const total = await countOf(query());
    assert.ok(total > 0 && total < facets.totals.total, `${name}: ${total}`);
    await panel
      .getByRole('button', { name: `Show ${total.toLocaleString('en-GB')} photo` })
      .click();
    await visitor.seesTotal(total);
    assert.deepEqual(await visitor.chips(), [chip()], name);
    await visitor.button(`Remove filter: ${chip()}`);
    await visitor.seesTotal(facets.totals.total);
    assert.deepEqual(visitor.query(), {}, name);
  }
});

story('dates: the last day counts as a whole', async (visitor) => {
  const { items } = await gallery.ask('/api/photos?sort=newest&page_size=200');
  const day = items.find(({ capture_date: stamp }) => /T1\d/.test(stamp)).capture_date.slice(0, 10);
  await visitor.open(`/?date_from=${day}&date_to=${day}`);
  const next = new Date(Date.parse(day) + 86_400_000).toISOString().slice(0, 10);
  const total = await countOf({ date_from: day, date_to: next });
  assert.ok(total > 0);
  await visitor.seesTotal(total);
  assert.equal((await visitor.chips()).length, 2);
  await visitor.button('Filters');
  const panel = visitor.page.getByRole('dialog', { name: 'Filters' });
  await panel.getByLabel('Year').selectOption(facets.by_year[0].id);
  await panel.getByRole('button', { name: /^Show / }).click();
  assert.deepEqual(
    await visitor.chips(),
    [facets.by_year[0].id],
    'a year takes the place of dates',
  );
});

story('searching', async (visitor) => {
  await visitor.open();
  const field = visitor.page.getByRole('searchbox');
  const word = facets.top_labels[0].id.slice(0, 4).toUpperCase();
  await field.fill(word);
  await visitor.seesTotal(await countOf({ q: word }));
  assert.equal(visitor.query().q, word);
  await field.fill('nothing is called this');
  await visitor.sees('No photos match these filters.');
  await visitor.button('Clear the filters');
  await visitor.seesTotal(facets.totals.total);
  assert.equal(await field.inputValue(), '');
});

story('back, forward and a shared link', async (visitor) => {
  await visitor.open();
  await visitor.seesTotal(facets.totals.total);
  const [country, label] = [facets.top_places[0].id, facets.top_labels[0].id];
  const path = `/?place=${encodeURIComponent(country)}&label=${encodeURIComponent(label)}&sort=oldest`;
  await visitor.open(path);
  const both = await countOf({ place: country, label });
  await visitor.seesTotal(both);
  await visitor.button(`Remove filter: ${country}`);
  await visitor.seesTotal(await countOf({ label }));
  await visitor.page.goBack();
  await visitor.seesTotal(both);
  await visitor.page.goForward();
  await visitor.seesTotal(await countOf({ label }));
  await visitor.page.goBack();
  await visitor.page.reload();
  await visitor.seesTotal(both);
  assert.equal(await visitor.page.getByLabel('Sort').inputValue(), 'oldest');
});

test('addresses that nobody should have typed', async () => {
  const untouched = {
    '/?year=MMXX': 1,
    '/?date_from=2021-02-30': 1,
    '/?favorite=perhaps': 1,
    '/?view=nowhere&sort=sideways': 1,
    '/?area=1,2,3': 1,
    '/?unknown=1&page=9': 1,
    '/?size=huge': 0,
  };
  await visit(browsers.desktop, gallery, async (visitor) => {
    for (const [path, clean] of Object.entries(untouched)) {
      await visitor.open(path);
      await visitor.seesTotal(facets.totals.total);
      assert.equal((await visitor.chips()).length, clean ? 0 : 1, path);
    }
    await visitor.open('/?camera=Nobody%27s%20%22Box%22%20%3Cb%3E&q=%20%20');
    await visitor.sees('No photos match these filters.');
    assert.deepEqual(await visitor.chips(), ['Nobody\'s "Box" <b>']);
  });
});

test('typing a search leaves one step in the history', () =>
  visit(browsers.desktop, gallery, async (visitor) => {
    await visitor.open();
    await visitor.seesTotal(facets.totals.total);
    const field = visitor.page.getByRole('searchbox');
    await visitor.press('/');
    const { id: label } = facets.top_labels[0];
    for (const text of [label.slice(0, 2), label]) {
      await field.fill(text);
      await visitor.until((q) => new URLSearchParams(location.search).get('q') === q, text);
    }
    await visitor.page.goBack();
    await visitor.seesTotal(facets.totals.total);
  }));

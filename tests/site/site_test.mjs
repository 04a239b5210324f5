// The reference site in a browser, opened from disk as a reader does.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, beforeEach, test } from 'node:test';

import { chromium } from 'playwright-core';

import { launchOptions } from '../../docs/site/browser.mjs';
import { catalogue, enums, generatedClass, messages, pageOf, pages,
  site, taggedLines, tags, values, vectors }
  from './schema_text.mjs';

let browser;
let page;
let complaints;

const open = (url) => page.goto(new URL(url, site).href);
const place = () => decodeURI(page.url().slice(site.href.length));

before(async () => {
  browser = await chromium.launch(launchOptions);
});
after(() => browser.close());
beforeEach(async () => {
  await page?.close();
  page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  complaints = [];
  page.on('pageerror', (error) => complaints.push(String(error)));
  page.on('console', (message) => complaints.push(message.text()));
  page.on('requestfailed', (r) => complaints.push(`failed: ${r.url()}`));
  page.on('request', (request) => {
    if (!/^(file|data):/.test(request.url())) complaints.push(request.url());
  });
});

// What a page has, once it is open.
const survey = () => page.evaluate(() => ({
  ids: [...document.querySelectorAll('[id]')].map((node) => node.id),
  links: [...document.querySelectorAll('a')].map(
      (a) => a.href.baseVal ?? a.getAttribute('href')),
  overflow: document.documentElement.scrollWidth - innerWidth,
}));

test('pages load nothing else, and every link has a target', async () => {
  const found = new Map();
  for (const [colorScheme, width] of [['light', 1280], ['dark', 390]]) {
    await page.emulateMedia({ colorScheme });
    await page.setViewportSize({ width, height: 800 });
    for (const url of pages) {
      await open(url);
      const surveyed = await survey();
      assert.ok(surveyed.overflow <= 0, `${url} is too wide at ${width} px`);
      found.set(url, surveyed);
    }
  }
  assert.deepEqual(complaints, []);
  let links = 0;
  for (const [url, surveyed] of found) {
    assert.equal(new Set(surveyed.ids).size, surveyed.ids.length,
        `${url} has an id twice`);
    for (const link of surveyed.links) {
      const target = new URL(link, new URL(url, site));
      if (target.protocol !== 'file:') continue;
      const [path, anchor] = target.href.slice(site.href.length).split('#');
      assert.ok(found.has(path), `${url} links to ${link}`);
      assert.ok(!anchor || found.get(path).ids.includes(anchor),
          `${url} links to ${link}, where nothing is`);
      links += 1;
    }
  }
  assert.ok(links > messages.length);

  for (const element of [...messages, ...enums, ...values]) {
    assert.ok(found.get(element.page)?.ids.includes(element.fullName),
        `no anchor for ${element.fullName}`);
  }
  for (const message of messages) {
    for (const field of message.fields) {
      assert.ok(found.get(message.page).ids.includes(field.fullName),
          `no anchor for ${field.fullName}`);
    }
  }
});

test('fields show the names that code reaches them by', async () => {
  let shown;
  let last;
  for (const message of messages) {
    if (message.page !== last) {
      await open(message.page);
      last = message.page;
      shown = await page.$$eval('.fields tbody tr', (rows) =>
        Object.fromEntries(rows.map((row) => [row.id, {
          number: Number(row.querySelector('.num').textContent),
          code: [...row.querySelectorAll('.code > code')].map(
              (node) => node.textContent),
          json: row.querySelector('.json').textContent,
          unit: row.querySelector('.unit')?.textContent,
          links: [...row.querySelectorAll('a')].map((a) => a.hash.slice(1)),
        }])));
    }
    const cpp = generatedClass(message);
    for (const field of message.fields) {
      const { number, code, json, links, unit } = shown[field.fullName];
      assert.equal(number, field.number, field.fullName);
      assert.equal(json, `"${field.json}"`);
      assert.ok(code.length >= 2, `${field.fullName} lacks accessors`);
      for (const call of code) {
        assert.match(cpp, new RegExp(`\\b${call.split('(')[0]}\\(`),
            field.fullName);
      }
      if (field.enum) {
        assert.ok(links.includes(field.enum), `${field.fullName}: no enum`);
      }
      assert.equal(unit, field.tags.unit?.[0], `${field.fullName}: unit`);
    }
  }
});

test('the catalogue has every tag of the schemas and no other', () => {
  const { schemas, ids, enums: types, messages: records } = catalogue;
  const of = (element, name, value) =>
    value === undefined ? [] : [`${element} @${name} ${value}`];
  const open = ({ name, open = [] }, prefix = '') =>
    open.map((point) => `${prefix}${name} @open ${point}`);
  const found = [
    ...schemas.flatMap((schema) => [...open(schema),
      ...of(schema.name, 'subsystem', schema.subsystem)]),
    ...ids.flatMap(({ name, carries, pairs, answer }) => [
      ...of(name, 'carries', carries), ...of(name, 'pairs', pairs),
      ...of(name, 'answer', answer?.message),
      ...of(name, 'answer_id', answer?.id)]),
    ...types.flatMap((type) => [...open(type), ...of(type.name, 'ids', type.ids),
      ...of(type.name, 'component', type.component),
      ...type.values.flatMap((value) => [...open(value),
        ...of(value.name, 'schema', value.schema)])]),
    ...records.flatMap((record) => [...open(record),
      ...(record.fields ?? []).flatMap((field) => {
        const name = `${record.name}.${field.name}`;
        const byConvention = field.type.includes('.') ? undefined : field.enum;
        return [...open(field, `${record.name}.`),
          ...of(name, 'enum', byConvention), ...of(name, 'unit', field.unit)];
      })]),
  ];
  assert.deepEqual(found.sort(), [...tags].sort());
  assert.equal(tags.length, taggedLines.length);
});

test('ids and the messages that travel under them point at each other',
    async () => {
      const far = ({ tags: { carries, pairs, answer, answer_id: id } }) =>
        [carries, pairs, answer, id].flatMap((all) => all ?? []);
      const paired = values.filter((value) => far(value).length > 0);
      assert.ok(paired.length > 50);
      await open('ids.html');
      const ids = Object.fromEntries(
          await page.$$eval('.values tbody tr', (all) => all.map((row) => [
            row.querySelector('th a').hash.slice(1),
            [row.querySelector('.num').textContent,
              ...[...row.querySelectorAll('.carries a, .answer a')].map(
                  (a) => a.hash.slice(1))],
          ])));
      for (const value of paired) {
        assert.deepEqual(ids[value.fullName],
            [String(value.number), ...far(value)]);
      }
      for (const url of new Set(messages.map((message) => message.page))) {
        await open(url);
        const facts = Object.fromEntries(await page.$$eval('section.message',
            (sections) => sections.map((section) => [
              section.querySelector('h3').id,
              Object.fromEntries([...section.querySelectorAll('.facts > div')]
                  .map((fact) => [fact.querySelector('dt').textContent,
                    [...fact.querySelectorAll('a')].map(
                        (a) => a.hash.slice(1))])),
            ])));
        for (const { fullName } of messages.filter((m) => m.page === url)) {
          for (const [label, tag] of [['Travels under', 'carries'],
            ['Request or answer of', 'pairs'], ['Answers', 'answer']]) {
            assert.deepEqual(facts[fullName][label] ?? [],
                values.filter((value) => value.tags[tag]?.[0] === fullName)
                    .map((value) => value.fullName),
                `${fullName}: ${label}`);
          }
        }
      }
    });

test('every open point is on the page of its schema and on "Left open"',
    async () => {
      const words = (text) => text.replace(/\s+/g, ' ').trim();
      const shown = async (url, selector) => {
        await open(url);
        return page.$$eval(selector, (all) => all.map((p) => p.textContent));
      };
      const count = (texts) => texts.map(words).sort();
      const points = tags.filter((tag) => tag.includes(' @open '))
          .map((tag) => ({ page: pageOf[tag.split(' @open ')[0]],
            text: tag.split(' @open ')[1] }));
      assert.deepEqual(count(await shown('open.html', '.questions dd p')),
          count(points.map(({ text }) => text)));
      for (const url of new Set(points.map((point) => point.page))) {
        const texts = await shown(url, 'p.open');
        assert.deepEqual(count(texts.map((t) => t.replace('Left open', ''))),
            count(points.filter((point) => point.page === url)
                .map(({ text }) => text)), url);
      }
    });

// The numbers of a text in text format. A zero is mostly not encoded.
function numbersOf(text) {
  const plain = text.replace(/"(\\.|[^"\\])*"/g, '""');
  return [...plain.matchAll(/(\w+): (-?[\d.]+(?:e[-+]?\d+)?)(?![\w.])/g)]
      .filter(([, , number]) => Number(number) !== 0)
      .map(([, name, number]) => `${name} ${Number(number)}`);
}

test('examples show the bytes of the vectors and what they mean', async () => {
  const examples = [];
  for (const url of new Set(messages.map((message) => message.page))) {
    await open(url);
    examples.push(...await page.$$eval('.message', (sections) =>
      sections.flatMap((section) =>
        [...section.querySelectorAll('.example:not(.refused)')].map((node) => ({
          message: section.querySelector('h3').id,
          bytes: [...node.querySelectorAll('.part')].map(
              (part) => part.textContent.trim()).join(' '),
          rows: [...node.querySelectorAll('.parts tbody tr')].map((row) =>
            ({
              at: Number(row.cells[0].textContent),
              bytes: [1, 2, 3].map((i) => row.cells[i].textContent.trim())
                  .filter(Boolean).join(' '),
              name: row.cells[4].textContent.trim(),
              reads: row.cells[5].firstElementChild.textContent.trim(),
            })),
          text: node.querySelector('.text code')?.textContent ?? '',
        })))));
  }
  const key = (message, bytes) => `${message}: ${bytes}`;
  const expected = vectors.filter((vector) => 'hex' in vector)
      .map((vector) => key(vector.message, vector.input ?? vector.hex));
  assert.deepEqual(examples.map((e) => key(e.message, e.bytes)).sort(),
      expected.sort());
  for (const { bytes, rows, text, message } of examples) {
    let at = 0;
    for (const row of rows) {
      assert.equal(row.at, at, `${message}: ${bytes}`);
      at += row.bytes.split(' ').length;
    }
    assert.equal(rows.map((row) => row.bytes).join(' '), bytes);
    const number = /^-?\d[\d.e+-]*(, -?\d+)*$/;
    const read = rows.filter((row) => number.test(row.reads))
        .flatMap(({ name, reads }) => reads.split(', ')
            .map((digits) => `${name} ${Number(digits)}`));
    for (const wanted of numbersOf(text)) {
      assert.ok(read.includes(wanted), `${message}: ${text}: no ${wanted}`);
    }
  }
});

// What comes first for each query: the field says that it has been typed into.
const lookAll = (queries) => page.evaluate((all) => all.map((query) => {
  const field = document.getElementById('query');
  field.value = query;
  field.dispatchEvent(new Event('input'));
  const hit = document.querySelector('#results [role="option"]');
  return hit && {
    url: hit.querySelector('a').getAttribute('href').replace('../', ''),
    number: hit.querySelector('.number').textContent,
  };
}), queries);

async function look(query) {
  const [hit] = await lookAll([query]);
  return hit;
}

test('the search finds by number', async () => {
  await open('index.html');
  assert.equal((await look('10404')).url, 'schema/channelMessage.html' +
      '#zorvik.channel.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE');
  const numbers = values.map(({ number }) => String(number));
  assert.deepEqual((await lookAll(numbers)).map((hit) => hit.number), numbers);
  assert.equal((await look('0x28A4')).number, '10404');
  assert.match(await page.textContent('#found'), /^\d+ found$/);
});

test('the search finds by name, however it is written', async () => {
  await open('schema/gimbalMessage.html');
  const all = [...messages, ...enums, ...values];
  const urls = async (queries) =>
    (await lookAll(queries)).map((hit) => hit.url);
  const target = (element) => `${element.page}#${element.fullName}`;
  assert.deepEqual(await urls(all.map((element) => element.fullName)),
      all.map(target));
  const count = new Map();
  for (const { name } of all) {
    count.set(name.toLowerCase(), (count.get(name.toLowerCase()) ?? 0) + 1);
  }
  const unique = all.filter(({ name }) => count.get(name.toLowerCase()) === 1);
  assert.ok(unique.length > messages.length);
  assert.deepEqual(await urls(unique.map((element) => element.name)),
      unique.map(target));
  const rotate = 'schema/gimbalMessage.html' +
      '#zorvik.gimbal.UavGimbalRotateReqMessage';
  for (const query of [
    'type.googleapis.com/zorvik.gimbal.UavGimbalRotateReqMessage',
    'zorvik::gimbal::UavGimbalRotateReqMessage',
    'uavgimbalrotatereq', 'gimbal rotate req',
  ]) {
    assert.equal((await look(query)).url, rotate, query);
  }
  assert.match((await look('uavattitude()')).url, /\.uavAttitude$/);
  assert.match((await look('streamMessage.proto')).url, /streamMessage\.html$/);
});

test('the search finds by the words of comments, or says that it does not',
    async () => {
      await open('index.html');
      assert.match((await look('pulse triggered')).url, /timeSyncMessage/);
      await page.fill('#query', 'qqqq');
      assert.equal(await page.locator('#results [role="option"]').count(), 0);
      assert.match(await page.textContent('#results'), /Nothing/);
      assert.equal(await page.textContent('#found'), '0 found');
    });

test('the keyboard suffices', async () => {
  await open('schema/accessMessage.html');
  await page.keyboard.press('/');
  const input = page.getByRole('combobox', { name: /search/i });
  assert.ok(await input.evaluate((node) => node === document.activeElement));
  assert.equal(await input.inputValue(), '');
  await page.keyboard.type('gimbal');
  const active = () => page.evaluate(() => {
    const id = document.activeElement.getAttribute('aria-activedescendant');
    const chosen = document.querySelector('#results [aria-selected="true"]');
    return chosen && chosen.id === id && chosen.querySelector('a').href;
  });
  const top = await active();
  await page.keyboard.press('ArrowDown');
  const second = await active();
  assert.ok(top && second && top !== second);
  await page.keyboard.press('ArrowUp');
  assert.equal(await active(), top);
  await page.keyboard.press('Escape');
  assert.equal(await input.getAttribute('aria-expanded'), 'false');
  assert.ok(await page.locator('#results').isHidden());
  await input.fill('UavGimbalRspMessage');
  assert.equal(await input.getAttribute('aria-expanded'), 'true');
  await page.keyboard.press('Enter');
  await page.waitForURL(/gimbalMessage/);
  assert.equal(place(),
      'schema/gimbalMessage.html#zorvik.gimbal.UavGimbalRspMessage');
  assert.ok(await page.locator('[id="zorvik.gimbal.UavGimbalRspMessage"]')
      .evaluate((node) => {
        const { top: y } = node.getBoundingClientRect();
        const bar = document.querySelector('.site-header');
        return y >= bar.getBoundingClientRect().bottom && y < innerHeight;
      }), 'the heading is out of sight');
  await page.keyboard.press('Tab');
  assert.ok(await page.evaluate(
      () => document.activeElement.matches(':focus-visible')));
});

test('tables keep their roles on a narrow screen', async () => {
  await page.setViewportSize({ width: 390, height: 800 });
  await open('schema/gimbalMessage.html');
  const table = page.getByRole('table',
      { name: 'Fields of UavGimbalRotateReqMessage' });
  assert.equal(await table.getByRole('rowheader').count(), 4);
  assert.equal(await table.getByRole('columnheader').count(), 5);
});

test('paper gets the content, all of it, and nothing else', async () => {
  await open('schema/gimbalMessage.html');
  await page.emulateMedia({ media: 'print', colorScheme: 'dark' });
  assert.ok(await page.locator('.site-header').isHidden());
  assert.ok(await page.locator('.contents').isHidden());
  const folded = page.locator('main details:not([open])');
  assert.ok(await folded.count() > 0);
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  assert.equal(await folded.count(), 0);
  const [red] = (await page.evaluate(
      () => getComputedStyle(document.body).backgroundColor)).match(/\d+/g);
  assert.ok(Number(red) > 240, 'the paper is dark');
});

test('diagrams name what they show, and link to it', async () => {
  await open('guide/exchanges.html');
  const figures = page.locator('.diagram');
  const guide = readFileSync(
      new URL('../../docs/exchanges.md', import.meta.url), 'utf8');
  assert.equal(await figures.count(), guide.match(/^```mermaid$/gm).length);
  for (const figure of await figures.all()) {
    assert.ok(await figure.locator('svg > title').count() === 1);
    assert.ok(await figure.locator('svg a').count() > 0);
  }
  // A label that looks like a name is the name of something.
  const plain = await page.$$eval('.diagram svg text', (texts) =>
    texts.map((text) => {
      const copy = text.cloneNode(true);
      for (const link of copy.querySelectorAll('a')) link.remove();
      return copy.textContent;
    }));
  for (const text of plain) {
    assert.doesNotMatch(text, /[a-z][A-Z]|[A-Z]{2,}_[A-Z]/,
        'a diagram names what is not there');
  }
});

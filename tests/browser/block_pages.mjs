// block_pages.mjs DIRECTORY WRITER: every block page in every language, in a real browser.
//
// DIRECTORY holds node_modules/ and gets the pages and screenshots/; WRITER is the program write_block_pages.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import {after, before, test} from 'node:test';

import {LoopbackServer, directory, makePages, opener, startBrowser, watchedPage} from './harness.mjs';
import {contrast, skeleton, structure} from './page_checks.mjs';
import {WIDTHS, survey} from './survey.mjs';

const FORMS = ['blockpage', 'blockpage-net', 'blockpage-wl', 'blockpage-net-wl'];
const TEMPLATES = [...FORMS, 'blockpage-nooverride', 'error'];
const CONTROLS = Array.from({length: 31}, (_, i) => String.fromCharCode(i + 1)).filter((c) => c !== '\x1f').join('');
const BIDI = '\u202e\u2067\u202b\u200f';
const MARKUP = '</title></p></textarea><script>document.title="owned"</script><img src=x onerror="alert(1)">' +
               '"\' onmouseover=alert(2) <style>*{display:none}</style> &lt;b&gt; javascript:alert(3) <!--';
const PLAIN = {
  url: 'http://www.example.com/stories/dragons?page=3&lang=en',
  title: 'Dragons \u2013 \u9f8d',
  sites: [['http://encyclopedia.example/', 'Children\u2019s encyclopedia'],
          ['https://maths.example/practice?grade=4', 'Maths practice'],
          ['https://kids.example/', 'Stories, songs and games for children of all ages']],
};
// As many sites, so that the pages have the same elements.
const HOSTILE = {
  url: `http://evil.example/${MARKUP}${BIDI}${CONTROLS}${'a'.repeat(10000)}`,
  title: `${MARKUP}${BIDI}${CONTROLS}${'t'.repeat(10000)}`,
  sites: [['http://a.example/', MARKUP], ['http://b.example/', `${BIDI}<b>abc`],
          ['http://c.example/', `${'x'.repeat(37)}&<>"'`]],
};

let server;
let browser;
let forEach;  // calls a check with each page of a set, opened: forEach(pages, context options, check)
let sets;  // pages by name
let seen;  // what survey found on them

before(async () => {
  server = await new LoopbackServer().start();
  browser = await startBrowser();
  sets = {plain: makePages(server, 'plain', PLAIN), hostile: makePages(server, 'hostile', HOSTILE)};
  forEach = opener(server, browser);
  seen = {plain: await survey(forEach, sets.plain), hostile: await survey(forEach, sets.hostile)};
});
after(async () => {
  await browser?.close();
  server?.stop();
});

const english = (pages) => pages.filter((made) => made.language === 'English');
const oneOf = (pages, template) => english(pages).find((made) => made.template === template);
const key = ({language, template}) => `${language}/${template}`;

test('there is every template in every language', () => {
  const languages = [...new Set(sets.plain.map((made) => made.language))];
  assert.ok(languages.length >= 14, `${languages}`);
  for (const language of languages) {
    const names = sets.plain.filter((made) => made.language === language).map((made) => made.template);
    assert.deepEqual(names.sort(), [...TEMPLATES].sort(), language);
  }
});

test('a page has its landmark, headings, labels, language and direction', () => {
  for (const {id, structure: problems} of [...seen.plain, ...seen.hostile]) assert.deepEqual(problems, [], id);
});

test('texts and frames have contrast in light and dark', () => {
  for (const {id, contrast: problems} of [...seen.plain, ...seen.hostile]) {
    assert.deepEqual(problems, {light: [], dark: []}, id);
  }
});

test('at 200 percent and on a narrow screen nothing is cut off sideways', () => {
  for (const {id, sideways: problems} of [...seen.plain, ...seen.hostile]) {
    assert.deepEqual(problems, Object.fromEntries(WIDTHS.map((width) => [width, []])), id);
  }
});

test('no marker is left, and style and script are in', () => {
  for (const {id, source, width} of seen.plain) {
    assert.ok(!source.includes('_NO_LOC'), id);
    assert.notEqual(width, 'none', id);
  }
});

test('a page shows the address and the sites it was filled with', () => {
  const labels = PLAIN.sites.map(([url, title]) => [url, title.length > 40 ? `${title.slice(0, 40)}...` : title]);
  for (const {id, template, text, links} of seen.plain) {
    assert.equal(text.includes(PLAIN.url), template !== 'error', id);
    assert.deepEqual(links, template.endsWith('-wl') ? labels : [], id);
  }
});

test('everything can be reached by keyboard and shows where it is', () => {
  for (const {id, template, reached} of seen.plain) {
    const sites = template.endsWith('-wl') ? ['A', 'A', 'A'] : [];
    const form = FORMS.includes(template) ? ['BUTTON'] : [];
    assert.deepEqual(reached, [...sites, ...form, 'BUTTON'], id);  // the way back comes last
  }
});

test('pages without a form have none', () => {
  for (const {id, template, forms} of seen.plain) assert.equal(forms, FORMS.includes(template) ? 1 : 0, id);
});

test('hostile titles and addresses stay text', () => {
  const plain = new Map(seen.plain.map((record) => [key(record), record]));
  for (const record of seen.hostile) {
    assert.equal(record.skeleton, plain.get(key(record)).skeleton, record.id);
    assert.equal(record.title, plain.get(key(record)).title, record.id);
    if (record.template === 'error') continue;
    assert.ok(record.url.includes('<script>document.title="owned"</script>'), record.id);
    assert.equal(record.bidi, 'isolate', record.id);
  }
});

test('a page reads the same whatever charset its response announces', async () => {
  const headings = new Map(seen.plain.map((record) => [record.id, record.heading]));
  server.charset = 'windows-1252';
  await forEach(sets.plain.filter((made) => made.template === 'blockpage-wl'), {}, async (page, made) => {
    assert.equal(await page.evaluate(() => document.characterSet), 'windows-1252');
    assert.equal(await page.locator('h1').innerText(), headings.get(made.id), made.id);
  });
  server.charset = 'utf-8';
});

test('a form posts the encoded address and title', async () => {
  for (const javaScriptEnabled of [true, false]) {
    for (const [name, texts] of [['plain', PLAIN], ['hostile', HOSTILE]]) {
      const pages = sets[name].filter((made) => FORMS.includes(made.template));
      const all = javaScriptEnabled && texts === PLAIN;
      await forEach(all ? pages : english(pages), {javaScriptEnabled}, async (page, made) => {
        server.posts.length = 0;
        await page.locator('form button').focus();
        await Promise.all([page.waitForURL(server.form), page.keyboard.press('Enter')]);
        assert.equal(server.posts.length, 1, made.id);
        const [{path: target, type, body}] = server.posts;
        assert.equal(target, '/webcontentfilter.override.local');
        assert.equal(type, 'application/x-www-form-urlencoded');
        const fields = new URLSearchParams(body);
        assert.deepEqual([...fields.keys()], ['url', 'title'], made.id);
        assert.equal(Buffer.from(fields.get('url'), 'base64').toString('utf8'), texts.url, made.id);
        assert.equal(Buffer.from(fields.get('title'), 'base64').toString('utf8'), texts.title, made.id);
      });
    }
  }
});

test('a long address can be scrolled by keyboard', async () => {
  await forEach(english(sets.hostile).filter((made) => made.template !== 'error'), {}, async (page, made) => {
    assert.equal(await page.locator('#url').evaluate((element) => element.tabIndex), 0, made.id);
  });
  await forEach([oneOf(sets.plain, 'blockpage')], {}, async (page) => {
    assert.equal(await page.locator('#url').evaluate((element) => element.tabIndex), -1);
  });
});

test('there is a way back where there is one', async () => {
  const context = await browser.newContext();
  const page = await watchedPage(context);
  await page.goto(oneOf(sets.plain, 'error').url);
  const [fresh] = await Promise.all([
    context.waitForEvent('page'),
    page.evaluate((url) => { window.open(url, '_blank', 'noopener'); }, oneOf(sets.plain, 'blockpage').url),
  ]);
  await fresh.locator('h1').waitFor();
  assert.equal(await fresh.locator('#back').isVisible(), false);
  await page.goto(oneOf(sets.plain, 'blockpage').url);
  await page.locator('#back button').click();
  await page.waitForURL('**/English.error.html');
  await context.close();
});

test('a long list can be searched, a short one needs no search', async () => {
  const sites = Array.from({length: 40}, (_, i) => [`http://site${i}.example/`, `Place ${i}`]);
  const [made] = makePages(server, 'many', {...PLAIN, sites}).filter(
      ({language, template}) => language === 'English' && template === 'blockpage-wl');
  await forEach([made], {}, async (page) => {
    const shown = () => page.locator('#sites a:visible').count();
    assert.equal(await shown(), 40);
    await page.getByLabel('Find one of your websites').fill('PLACE 3');
    assert.equal(await shown(), 11);  // 3 and 30 to 39
    await page.getByLabel('Find one of your websites').fill('site17.');
    assert.equal(await shown(), 1);
    await page.getByLabel('Find one of your websites').fill('nothing');
    assert.equal(await shown(), 0);
    assert.equal(await page.getByRole('status').innerText(), 'None of your websites fits. Try another word.');
    assert.deepEqual(await page.evaluate(structure), []);
    assert.deepEqual(await page.evaluate(contrast), []);
  });
  await forEach([oneOf(sets.plain, 'blockpage-wl')], {}, async (page) => {
    assert.equal(await page.locator('#search').isVisible(), false);
  });
});

test('markers that an address names bring no element but the links of the list', async () => {
  const names = ['INCLUDE_JAVASCRIPT_FILE_NO_LOC', 'INCLUDE_CSS_FILE_NO_LOC', 'PAGE_TO_OVERRIDE_TITLE_NO_LOC',
                 'PAGE_TO_OVERRIDE_URL_NO_LOC', 'SEND_FORM_TO_URL_NO_LOC'];
  const url = `http://evil.example/${names.join('/')}`;
  const sites = names.map((name, i) => [`http://site${i}.example/`, name]);
  const pages = english(makePages(server, 'markers', {url, title: names.join(' '), sites}));
  const without = {url: 'http://evil.example/', title: 'x', sites: sites.map(([address]) => [address, 'x'])};
  const plain = new Map();
  await forEach(english(makePages(server, 'bare', without)), {}, async (page, made) => {
    plain.set(key(made), await page.evaluate(skeleton));
  });
  await forEach(pages, {}, async (page, made) => {
    assert.equal(await page.evaluate(skeleton), plain.get(key(made)), made.id);
  });
  const list = makePages(server, 'list', {...PLAIN, url: 'http://evil.example/ALLOWED_LIST_OF_WEBSITES_NO_LOC'});
  await forEach(english(list).filter((made) => made.template.endsWith('-wl')), {}, async (page, made) => {
    assert.deepEqual(await page.locator('#url bdi *').evaluateAll((all) => all.map((element) => element.tagName)),
                     ['A', 'BR', 'A', 'BR', 'A', 'BR'], made.id);
  });
});

test('what the policy of a page forbids does nothing, even where an allow list brings it in', async () => {
  // Addresses of an allow list are inserted as they stand.
  const owned = `document.title='owned'`;
  const addresses = [`javascript:${owned}`, `data:text/html,<script>${owned}</script>`, `#" onclick="${owned}`,
                     `#"><script>${owned}</script><a href="#`, `#"><style>*{display:none}</style><a href="#`,
                     `#"><img src="${server.origin}/foreign.png"><base href="http://evil.example/"><a href="#`];
  const sites = addresses.map((address, i) => [address, `Place ${i}`]);
  const pages = english(makePages(server, 'policy', {...PLAIN, sites}));
  await forEach(pages.filter(({template}) => template === 'blockpage-wl'), {}, async (page, made) => {
    const title = await page.title();
    for (let i = 0; i < addresses.length; i += 1) {
      await page.getByRole('link', {name: `Place ${i}`}).click();
      assert.equal(await page.title(), title, addresses[i]);
      assert.equal(page.url().replace(/#$/, ''), made.url, addresses[i]);
      assert.ok(await page.locator('h1').isVisible(), addresses[i]);
    }
    // The browser tells what it refused, and nothing else happened.
    const refused = page.problems.filter((problem) => /^console: .*(Content Security Policy|Not allowed to navigate)/.test(problem));
    assert.ok(refused.length >= addresses.length, `${page.problems}`);
    const rest = page.problems.filter((problem) => !refused.includes(problem));
    assert.deepEqual(rest.filter((problem) => problem !== `request ${server.origin}/foreign.png`), []);
    page.problems.length = 0;
  });
});

test('printed, the page keeps its text and leaves the buttons out', async () => {
  await forEach(english(sets.plain), {}, async (page, made) => {
    await page.emulateMedia({media: 'print'});
    assert.equal(await page.locator('button:visible').count(), 0, made.id);
    assert.ok(await page.locator('h1').isVisible());
    assert.deepEqual(await page.evaluate(contrast), [], made.id);
    if (made.template !== 'error') assert.ok(await page.locator('#url').isVisible());
    await page.emulateMedia({media: 'screen'});
  });
});

test('forced colors and reduced styles keep the page usable', async () => {
  await forEach(english(sets.plain), {forcedColors: 'active'}, async (page, made) => {
    const border = await page.locator('main').evaluate((element) => getComputedStyle(element).borderTopColor);
    assert.notEqual(border, 'rgba(0, 0, 0, 0)', made.id);
  });
});

test('screenshots of every template', async () => {
  const folder = path.join(directory, 'screenshots');
  fs.rmSync(folder, {recursive: true, force: true});
  fs.mkdirSync(folder, {recursive: true});
  const shown = ['English', 'de', 'ar', 'ja'];
  for (const colorScheme of ['light', 'dark']) {
    const pages = sets.plain.filter((made) => shown.includes(made.language));
    await forEach(pages, {colorScheme, viewport: {width: 760, height: 620}}, async (page, made) => {
      await page.screenshot({path: path.join(folder, `${made.language}.${made.template}.${colorScheme}.png`), fullPage: true});
    });
  }
  const narrow = english([...sets.plain, ...sets.hostile]);
  await forEach(narrow, {viewport: {width: 360, height: 640}}, async (page, made) => {
    await page.screenshot({path: path.join(folder, `${made.id.replace(/[ /]/g, '.')}.narrow.png`), fullPage: true});
  });
  assert.ok(fs.readdirSync(folder).length >= TEMPLATES.length * shown.length * 2);
});

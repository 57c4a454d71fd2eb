// override.mjs DIRECTORY WRITER SERVICE: from a block page on an https site to the page that a password opened.
//
// The block page stands on the refused site's own https origin, the service on plain loopback: the browser's rules for forms
// between the two are what this is about.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import https from 'node:https';
import os from 'node:os';
import path from 'node:path';
import {after, before, test} from 'node:test';

import {contrast, sideways, structure} from './page_checks.mjs';
import {directory, makePages, startBrowser, watchedPage} from './harness.mjs';
import {ASK, policyFile, startOverride, user, writePolicy} from './override_harness.mjs';

const service = path.resolve(process.argv[4]);
let browser;
let root;
let daemon;
let origin;
let site;  // the https server

const isOpen = () => fs.readFileSync(policyFile(root), 'utf8').includes(site.url);

async function startSite() {
  const [keyFile, certificate] = ['site.key', 'site.pem'].map((name) => path.join(root, name));
  execFileSync('openssl', ['req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-days', '2', '-subj', '/CN=localhost', '-keyout',
                           keyFile, '-out', certificate], {stdio: 'ignore'});
  const server = https.createServer({key: fs.readFileSync(keyFile), cert: fs.readFileSync(certificate)}, (request, response) => {
    const forged = request.url === '/forged' && `<!DOCTYPE html><title>forged</title><form method="post"
      action="${origin}/${ASK}/allow"><input name="token" value="${'0'.repeat(32)}"><input name="name" value="mother">
      <input name="password" value="secret"><button>go</button></form>`;
    const framing = request.url === '/framing' && `<!DOCTYPE html><title>framing</title><form method="post" target="inside"
      action="${origin}/${ASK}"><input name="url" value="${Buffer.from(site.url).toString('base64')}"><button>go</button></form>
      <iframe name="inside"></iframe>`;
    response.writeHead(200, {'content-type': 'text/html; charset=utf-8'});
    response.end(forged || framing || (isOpen() ? '<!DOCTYPE html><title>Opened</title><link rel="icon" href="data:,">' : site.blockPage));
  });
  await new Promise((done) => server.listen(0, '127.0.0.1', done));
  site = {server, url: `https://127.0.0.1:${server.address().port}/`};
  const pages = {pages: new Map(), form: `${origin}/${ASK}`, origin: ''};
  const made = makePages(pages, 'override', {url: `${site.url}dragons?page=3`, title: 'Dragons <b>&', sites: []});
  site.blockPage = pages.pages.get(made.find(({language, template}) => language === 'English' && template === 'blockpage').url);
}

before(async () => {
  root = fs.mkdtempSync(path.join(os.tmpdir(), 'override.'));
  writePolicy(root, 'en');
  ({daemon, origin} = await startOverride(service, root));
  await startSite();
  browser = await startBrowser();
});
after(async () => {
  await browser?.close();
  daemon?.kill();
  site?.server.closeAllConnections?.();
  site?.server.close();
  fs.rmSync(root, {recursive: true, force: true});
});

async function opened(options = {}, language = 'en') {
  writePolicy(root, language);
  const context = await browser.newContext({ignoreHTTPSErrors: true, viewport: {width: 800, height: 900}, ...options});
  const page = await watchedPage(context);
  await page.goto(`${site.url}dragons?page=3`);
  return page;
}
async function asked(options, language) {
  const page = await opened(options, language);
  await page.getByRole('button', {name: 'Ask for this page'}).click();
  await page.waitForURL(`${origin}/**`);
  return page;
}

test('the block page of an https site leads to the confirmation page', async () => {
  const page = await asked();
  assert.equal(await page.title(), 'Someone asks for a page');
  const text = await page.innerText('main');
  assert.match(text, new RegExp(`${user} asks for this page:`));
  assert.ok(text.includes(`${site.url}dragons?page=3`), text);
  assert.ok(text.includes('Dragons <b>&'), text);
  assert.deepEqual(page.problems, []);
  assert.equal(isOpen(), false);
});

test('the password opens the page and the browser goes there', async () => {
  const page = await asked();
  await page.getByLabel('Approver name').fill('mother');
  await page.getByLabel('Approver password').fill('wrong');
  await page.getByRole('button', {name: 'Open it'}).click();
  await page.getByRole('alert').waitFor();
  assert.match(await page.getByRole('alert').innerText(), /^That did not work/);
  assert.equal(await page.getByLabel('Approver name').inputValue(), 'mother');
  assert.equal(await page.getByLabel('Approver password').inputValue(), '');
  assert.equal(isOpen(), false);
  await page.getByLabel('Approver password').fill('secret');
  await page.getByRole('button', {name: 'Open it'}).click();
  await page.waitForURL(`${site.url}dragons?page=3`);
  assert.equal(await page.title(), 'Opened');
  assert.equal(isOpen(), true);
});

test('the keyboard alone is enough', async () => {
  const page = await asked();
  await page.getByLabel('Approver name').focus();
  await page.keyboard.type('mother');
  await page.keyboard.press('Tab');
  await page.keyboard.type('secret');
  await page.keyboard.press('Enter');
  await page.waitForURL(`${site.url}dragons?page=3`);
  assert.equal(await page.title(), 'Opened');
});

test('a double click opens the page like one', async () => {
  const page = await asked();
  await page.getByLabel('Approver name').fill('mother');
  await page.getByLabel('Approver password').fill('secret');
  await page.getByRole('button', {name: 'Open it'}).dblclick({noWaitAfter: true});
  // The second click breaks off where the first one leads, so no single navigation is waited for.
  await page.waitForFunction(() => document.title === 'Opened');
  assert.equal(page.url(), `${site.url}dragons?page=3`);
});

test('what a script of a foreign page asks for does not push out what a person asked for', async () => {
  const page = await asked();
  const foreign = await page.context().newPage();
  await foreign.goto(`${site.url}framing`);
  await foreign.evaluate(([target, url]) => Promise.allSettled(Array.from({length: 20}, () =>
    fetch(target, {method: 'POST', mode: 'no-cors', body: new URLSearchParams({url})}))), [`${origin}/${ASK}`, btoa(site.url)]);
  await page.getByLabel('Approver name').fill('mother');
  await page.getByLabel('Approver password').fill('secret');
  await page.getByRole('button', {name: 'Open it'}).click();
  await page.waitForURL(`${site.url}dragons?page=3`);
  assert.equal(await page.title(), 'Opened');
});

test('a form of a foreign page opens nothing', async () => {
  const page = await opened();
  await page.goto(`${site.url}forged`);
  const [answer] = await Promise.all([page.waitForResponse(`${origin}/${ASK}/allow`), page.getByRole('button').click()]);
  assert.equal(answer.status(), 403);
  assert.equal(isOpen(), false);
});

test('the confirmation page cannot be framed', async () => {
  const page = await opened();
  await page.goto(`${site.url}framing`);
  await Promise.all([page.waitForResponse(`${origin}/${ASK}`), page.getByRole('button').click()]);
  const inside = page.frames().find((frame) => frame.name() === 'inside');
  await inside.waitForLoadState();
  assert.equal(await inside.getByRole('button', {name: 'Open it'}).count(), 0);
});

test('the page has its landmark, headings, labels and contrast, in any language, in light and dark and on a narrow screen', async () => {
  const folder = path.join(directory, 'screenshots');
  fs.mkdirSync(folder, {recursive: true});
  for (const language of ['en', 'de', 'ar', 'ja']) {
    for (const colorScheme of ['light', 'dark']) {
      for (const width of [320, 360, 800]) {
        const id = `override-${language}-${colorScheme}-${width}`;
        const page = await asked({colorScheme, viewport: {width, height: 900}}, language);
        assert.equal(await page.evaluate(() => document.documentElement.lang), language);
        for (const check of [structure, contrast, sideways]) assert.deepEqual(await page.evaluate(check), [], id);
        await page.screenshot({path: path.join(folder, `${id}.png`), fullPage: true});
        await page.context().close();
      }
    }
  }
});

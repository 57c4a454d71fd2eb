// What the tests of pages share: the browser, a loopback server for pages and forms, and pages made to order.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import {createRequire} from 'node:module';
import path from 'node:path';

export const [directory, writer] = process.argv.slice(2).map((argument) => path.resolve(argument));
const {chromium} = createRequire(path.join(directory, 'node_modules', 'x.js'))('playwright-core');

export const base64 = (text) => Buffer.from(text, 'utf8').toString('base64');

// Serves what `pages` holds (path to bytes) and keeps every form that is posted.
export class LoopbackServer {
  pages = new Map();
  posts = [];
  charset = 'utf-8';  // that responses announce
  foreign = [];  // paths that nobody put here: requests that left a page

  async start() {
    this.server = http.createServer((request, response) => this.answer(request, response));
    await new Promise((done) => this.server.listen(0, '127.0.0.1', done));
    this.origin = `http://127.0.0.1:${this.server.address().port}`;
    this.form = `${this.origin}/webcontentfilter.override.local`;
    return this;
  }
  stop() {
    this.server.closeAllConnections?.();
    this.server.close();
  }
  answer(request, response) {
    if (request.method === 'POST') {
      const parts = [];
      request.on('data', (part) => parts.push(part));
      request.on('end', () => {
        const body = Buffer.concat(parts).toString('latin1');
        this.posts.push({path: request.url, type: request.headers['content-type'], body});
        response.end('<!DOCTYPE html><title>posted</title><link rel="icon" href="data:,">');
      });
      return;
    }
    const page = this.pages.get(request.url);
    if (page === undefined) this.foreign.push(request.url);
    response.writeHead(page === undefined ? 404 : 200, {'content-type': `text/html; charset=${this.charset}`});
    response.end(page);
  }
}

// Every block page filled with these texts: [{language, template, path}]. `name` tells the sets apart.
export function makePages(server, name, texts) {
  const inputs = path.join(directory, 'texts', name);
  const outputs = path.join(directory, 'pages', name);
  for (const folder of [inputs, outputs]) {
    fs.rmSync(folder, {recursive: true, force: true});
    fs.mkdirSync(folder, {recursive: true});
  }
  const fields = {url: texts.url, form: server.form, url64: base64(texts.url), title64: base64(texts.title),
                  sites: texts.sites.flat().map((field) => field + '\x1f').join('')};
  for (const [field, value] of Object.entries(fields)) fs.writeFileSync(path.join(inputs, field), value);
  execFileSync(writer, [inputs, outputs], {stdio: ['ignore', 'inherit', 'inherit']});
  return fs.readdirSync(outputs).sort().map((file) => {
    const [language, template] = file.split('.');
    const served = `/${name}/${file}`;
    server.pages.set(served, fs.readFileSync(path.join(outputs, file)));
    return {language, template, url: server.origin + served, id: `${name} ${language}/${template}`};
  });
}

export async function startBrowser() {
  const executablePath = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'].find(fs.existsSync);
  if (!executablePath) throw new Error('no Chromium: packaging/apt-packages.txt names the package');
  // Root has no sandbox to offer; only our own pages are opened here.
  const args = ['--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu'];
  return chromium.launch({executablePath, args});
}

// A page that keeps what must not happen: requests beyond its own address, console errors, dialogs.
export async function watchedPage(context) {
  const page = await context.newPage();
  page.problems = [];
  page.on('request', (request) => {
    if (!request.isNavigationRequest() && !request.url().startsWith('data:')) {
      page.problems.push(`request ${request.url()}`);
    }
  });
  page.on('console', (message) => {
    if (['error', 'warning'].includes(message.type())) page.problems.push(`console: ${message.text()}`);
  });
  page.on('pageerror', (error) => page.problems.push(`script: ${error.message}`));
  page.on('dialog', (dialog) => {
    page.problems.push(`dialog ${dialog.message()}`);
    dialog.dismiss();
  });
  return page;
}

// A function that calls `check` with each page of a set, opened; what must not happen on any page is looked at afterwards.
export const opener = (server, browser) => async (pages, options, check) => {
  const context = await browser.newContext({viewport: {width: 1000, height: 800}, ...options});
  const page = await watchedPage(context);
  for (const made of pages) {
    page.problems.length = 0;
    await page.goto(made.url);
    await check(page, made);
    assert.deepEqual(page.problems, [], made.id);
  }
  await context.close();
  assert.deepEqual(server.foreign, []);
};

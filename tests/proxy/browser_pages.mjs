// browser_pages.mjs DIRECTORY PROXY ADDRESS...: opens each address in Chromium through a proxy; prints what it shows as JSON.
import fs from 'node:fs';
import {createRequire} from 'node:module';
import path from 'node:path';

const [directory, proxy, ...addresses] = process.argv.slice(2);
const {chromium} = createRequire(path.join(path.resolve(directory), 'node_modules', 'x.js'))('playwright-core');
const executablePath = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'].find(fs.existsSync);
// Root has no sandbox to offer; only our own pages are opened here. "<-loopback>": loopback addresses use the proxy, too.
const browser = await chromium.launch({executablePath, proxy: {server: proxy, bypass: '<-loopback>'},
                                       args: ['--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu']});
const shown = [];
const context = await browser.newContext({locale: 'de-DE'});
for (const address of addresses) {
  const page = await context.newPage();
  const response = await page.goto(address);
  shown.push({status: response.status(), title: await page.title(), language: await page.evaluate('document.documentElement.lang'),
              text: await page.evaluate('document.body.innerText'),
              pictures: await page.evaluate('Array.from(document.images, (image) => image.naturalWidth)'),
              scripts: await page.evaluate('window.scriptRan === true')});
  await page.close();
}
await browser.close();
console.log(JSON.stringify(shown));

// override_chain.mjs DIRECTORY ENDPOINT URL NAME PASSWORD: in a running Chromium of the managed user, from the block page of an
// https site through the password to the page itself. Prints what stood on each page.
import {createRequire} from 'node:module';
import path from 'node:path';

const [directory, endpoint, url, name, password] = process.argv.slice(2);
const {chromium} = createRequire(path.join(path.resolve(directory), 'node_modules', 'x.js'))('playwright-core');

const browser = await chromium.connectOverCDP(endpoint);
const page = await browser.contexts()[0].newPage();
const seen = [];
const look = async (response) => seen.push({
  url: page.url(), status: response?.status() ?? null, title: await page.title(), text: await page.locator('body').innerText(),
});

async function submit(values) {
  for (const [field, value] of Object.entries(values)) await page.fill(`input[name=${field}]`, value);
  if (Object.keys(values).length) await page.check('input[value=page]');
  const [response] = await Promise.all([page.waitForNavigation(), page.click('button')]);
  await look(response);
}

await look(await page.goto(url));
await submit({});
await submit({name, password: 'a wrong guess'});
await look(await page.goto(url));
await submit({});
await submit({name, password});
console.log(JSON.stringify(seen));
await browser.close();

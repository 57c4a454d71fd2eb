// survey(forEach, pages): everything that the tests ask of a page, found in one visit to each.
import {contrast, sideways, skeleton, structure} from './page_checks.mjs';

// 1000 at 200 percent is 500; 320 is a small telephone.
export const WIDTHS = [1000, 500, 320];

// What Tab leads to, in order, until it comes round again.
async function reachedByKeyboard(page) {
  const reached = [];
  for (let presses = 0; presses < 10; presses += 1) {
    await page.keyboard.press('Tab');
    const focus = await page.evaluate(() => {
      const element = document.activeElement;
      if (element === document.body || element.reached) return null;
      element.reached = true;
      const {outlineStyle, outlineWidth} = getComputedStyle(element);
      return element.tagName + (outlineStyle !== 'none' && parseFloat(outlineWidth) >= 2 ? '' : ' unseen');
    });
    if (!focus) break;
    reached.push(focus);
  }
  return reached;
}

// Opens each page once and looks at everything.
export async function survey(forEach, pages) {
  const found = [];
  // The first page is opened twice, so that each has one to go back to.
  await forEach([pages[0], ...pages], {}, async (page, made) => {
    const record = {...made, contrast: {}, sideways: {}};
    Object.assign(record, await page.evaluate(() => ({
      title: document.title,
      heading: document.querySelector('h1').innerText,
      text: document.querySelector('main').innerText,
      source: document.documentElement.outerHTML,
      width: getComputedStyle(document.querySelector('main')).maxWidth,
      url: document.querySelector('#url')?.textContent,
      bidi: document.querySelector('#url bdi') && getComputedStyle(document.querySelector('#url bdi')).unicodeBidi,
      links: [...document.querySelectorAll('#sites a')].map((link) => [link.href, link.textContent]),
      forms: document.forms.length,
    })));
    record.structure = await page.evaluate(structure);
    record.skeleton = await page.evaluate(skeleton);
    record.reached = await reachedByKeyboard(page);
    for (const colorScheme of ['dark', 'light']) {
      await page.emulateMedia({colorScheme});
      record.contrast[colorScheme] = await page.evaluate(contrast);
    }
    for (const width of WIDTHS) {
      await page.setViewportSize({width, height: 400});
      record.sideways[width] = await page.evaluate(sideways);
    }
    await page.setViewportSize({width: WIDTHS[0], height: 800});
    found.push(record);
  });
  return found.slice(1);
}

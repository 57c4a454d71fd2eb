// What runs inside a page: each function looks at the document and answers with a list of problems.

// Language, direction, landmarks, headings, names of what can be used.
export function structure() {
  const problems = [];
  const want = (good, problem) => good || problems.push(problem);
  const visible = (element) => element.checkVisibility ? element.checkVisibility() : element.offsetParent !== null;
  const html = document.documentElement;
  want(/^[a-z]{2}(-[A-Za-z]+)*$/.test(html.lang), `lang "${html.lang}"`);
  want(['ltr', 'rtl'].includes(html.dir), `dir "${html.dir}"`);
  want(['ar', 'fa', 'he'].includes(html.lang) === (html.dir === 'rtl'), `dir ${html.dir} for ${html.lang}`);
  want(document.compatMode === 'CSS1Compat', 'quirks mode');
  want(document.title.trim() !== '', 'no title');
  want(document.querySelectorAll('main').length === 1, 'not one main landmark');
  want(document.querySelectorAll('h1').length === 1, 'not one h1');
  const levels = [...document.querySelectorAll('h1,h2,h3,h4,h5,h6')].map((heading) => Number(heading.tagName[1]));
  want(levels[0] === 1 && levels.every((level, i) => i === 0 || level <= levels[i - 1] + 1), `headings ${levels}`);
  const ids = [...document.querySelectorAll('[id]')].map((element) => element.id);
  want(new Set(ids).size === ids.length, 'an id twice');
  for (const element of document.querySelectorAll('[aria-labelledby]')) {
    const id = element.getAttribute('aria-labelledby');
    want(document.getElementById(id)?.textContent.trim(), `no text is called ${id}`);
  }
  for (const label of document.querySelectorAll('label')) {
    want(label.control && label.textContent.trim(), 'a label without control or text');
  }
  for (const element of document.querySelectorAll('button,a,input:not([type=hidden])')) {
    const name = element.labels?.[0]?.textContent ?? element.textContent;
    want(name.trim() !== '', `${element.tagName} without a name`);
  }
  for (const element of document.body.querySelectorAll('*')) {
    if (element.closest('main,script')) continue;
    want(false, `${element.tagName} outside of the landmark`);
  }
  for (const picture of document.querySelectorAll('svg')) {
    want(picture.getAttribute('aria-hidden') === 'true', 'a picture is read aloud');
  }
  for (const element of document.querySelectorAll('button,input,a')) {
    if (!visible(element)) continue;
    const box = element.getBoundingClientRect();
    if (element.type !== 'hidden') want(box.height >= 24 && box.width >= 24, `${element.tagName} is small`);
  }
  return problems;
}

// Contrast of every text and of what frames a control, by WCAG 2 level AA.
export function contrast() {
  const channels = (color) => {
    const numbers = color.match(/[\d.]+/g).map(Number);
    return {rgb: numbers.slice(0, 3), alpha: numbers[3] ?? 1};
  };
  const luminance = (rgb) => {
    const [r, g, b] = rgb.map((value) => {
      const part = value / 255;
      return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const ratio = (a, b) => {
    const [high, low] = [luminance(a), luminance(b)].sort((x, y) => y - x);
    return (high + 0.05) / (low + 0.05);
  };
  const backgroundOf = (element) => {
    for (let at = element; at; at = at.parentElement) {
      const {rgb, alpha} = channels(getComputedStyle(at).backgroundColor);
      if (alpha === 1) return rgb;
      if (alpha !== 0) throw new Error('a background that shines through');
    }
    return [255, 255, 255];
  };
  const problems = [];
  let texts = 0;
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (!walker.currentNode.data.trim() || element.tagName === 'SCRIPT' || !element.checkVisibility()) continue;
    texts += 1;
    const found = ratio(channels(getComputedStyle(element).color).rgb, backgroundOf(element));
    if (found < 4.5) problems.push(`${element.tagName} "${walker.currentNode.data.slice(0, 20)}": ${found.toFixed(2)}`);
  }
  if (texts < 3) problems.push(`only ${texts} texts`);
  for (const control of document.querySelectorAll('button,.field')) {
    if (!control.checkVisibility()) continue;
    const found = ratio(channels(getComputedStyle(control).borderTopColor).rgb, backgroundOf(control.parentElement));
    if (found < 3) problems.push(`the frame of a ${control.tagName}: ${found.toFixed(2)}`);
  }
  return problems;
}

// Whether the page would have to be scrolled sideways.
export function sideways() {
  const wide = document.scrollingElement.scrollWidth - document.documentElement.clientWidth;
  const problems = wide > 0 ? [`${wide} pixels too wide`] : [];
  for (const element of document.querySelectorAll('main, main *')) {
    const box = element.getBoundingClientRect();
    if (box.width && (box.left < -1 || box.right > innerWidth + 1)) problems.push(`${element.tagName} leaves the window`);
  }
  return problems;
}

// The tree of elements with their attributes, but for what the pages are filled with: hostile texts must not
// change it.
export function skeleton() {
  const filled = new Set(['value', 'href', 'action', 'tabindex']);
  const of = (element) => {
    const names = element.getAttributeNames().filter((name) => !filled.has(name)).sort();
    const attributes = names.map((name) => `${name}=${element.getAttribute(name)}`);
    return `<${[element.tagName, ...attributes].join(' ')}>${[...element.children].map(of).join('')}</>`;
  };
  return of(document.documentElement);
}

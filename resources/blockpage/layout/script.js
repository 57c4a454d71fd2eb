// Holds no quote, angle bracket or ampersand: see docs/block-page.md. The page works without it.
(function () {
  function find(id) {
    return document.getElementById(id);
  }

  // A way back, where there is one.
  if (history.length !== 1) {
    find(`back`).hidden = false;
    find(`back`).addEventListener(`click`, function () {
      history.back();
    });
  }

  // A long address scrolls, for the keyboard as well.
  const url = find(`url`);
  if (url) {
    if (Math.max(url.scrollHeight, url.clientHeight) !== url.clientHeight) url.tabIndex = 0;
  }

  // One click asks once; whoever comes back to the page may ask again.
  document.querySelectorAll(`form`).forEach(function (form) {
    let sent = false;
    form.addEventListener(`submit`, function (event) {
      if (sent) event.preventDefault();
      sent = true;
    });
    addEventListener(`pageshow`, function () {
      sent = false;
    });
  });

  // A long list can be searched.
  const sites = find(`sites`);
  const links = sites ? Array.from(sites.querySelectorAll(`a`)) : [];
  if (links.slice(8).length) {
    const field = find(`search-field`);
    const none = find(`none`);
    find(`search`).hidden = false;
    field.addEventListener(`input`, function () {
      const wanted = field.value.trim().toLocaleLowerCase();
      let found = 0;
      links.forEach(function (link) {
        const text = `${link.textContent} ${link.href}`.toLocaleLowerCase();
        link.hidden = !text.includes(wanted);
        if (!link.hidden) found += 1;
      });
      none.textContent = found ? `` : none.dataset.text;
    });
  }
})();

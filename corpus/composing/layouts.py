"""Layouts: kinds of page, each a function from a voice to the body of a page.

They stand for kinds of site on both sides: what is a tube with an adult voice is a site of sport or cooking videos with a plain one.
"""
from .markup import (comments, count, duration, escape, habits, image, link, menu, paragraphs, tags,
                     thumbnail)


def _grid(voice, least, most, **kwargs):
    way = habits(voice.chance, **kwargs)
    items = (thumbnail(voice, way) for _ in range(voice.chance.between(least, most)))
    return '<div class="grid">' + "\n".join(items) + "</div>"


def _heading(voice, level=1, place="caption"):
    return f"<h{level}>{escape(voice.say(place))}</h{level}>"


def _pager(voice):
    return '<div class="pages">' + " ".join(link(str(at), f"p/{at}") for at in range(1, 7)) + \
        f" {link(voice.plain('menu'), 'p/next')}</div>"


def tube(voice):
    chance = voice.chance
    parts = [_heading(voice) if chance.yes(.7) else "", _grid(voice, 8, 28), _pager(voice)]
    if chance.yes(.4):
        parts.append(f"<aside>{menu(voice, chance.between(6, 24), 'tag')}</aside>")
    if chance.yes(.3):
        parts.append(_heading(voice, 2) + paragraphs(voice, chance.between(1, 2)))
    return "\n".join(parts)


def categories(voice):
    chance = voice.chance
    pictures = chance.yes(.5)
    entries = []
    for at in range(chance.between(15, 60)):
        name = voice.say("tag")
        shown = image(name if chance.yes(.6) else "", f"c{at}") if pictures else ""
        number = f" <span>({chance.between(3, 9999)})</span>" if chance.yes(.6) else ""
        entries.append(f'<li><a href="/c/{at}">{shown}{escape(name)}</a>{number}</li>')
    return _heading(voice) + "<ul>" + "\n".join(entries) + "</ul>"


def video(voice):
    chance = voice.chance
    name = voice.say("caption")
    parts = [f"<h1>{escape(name)}</h1>", f"<video></video> <span>{duration(chance)}</span> "
             f"<span>{count(chance)} {escape(voice.labels[14])}</span>", tags(voice, chance.between(3, 12))]
    if chance.yes(.6):
        parts.append(paragraphs(voice, 1))
    parts.append(_heading(voice, 2, "menu") + _grid(voice, 4, 14))
    if chance.yes(.5):
        parts.append(f"<h3>{escape(voice.labels[15])}</h3>" + comments(voice, chance.between(1, 5)))
    return "\n".join(parts)


def gallery(voice):
    """Pictures and next to no text."""
    chance = voice.chance
    told = chance.pick(("alt", "title", "both"))
    entries = []
    for at in range(chance.between(6, 30)):
        alt = voice.say("alt") if told != "title" and chance.yes(.8) else ""
        title = f' title="{escape(voice.say("linktitle"))}"' if told != "alt" and chance.yes(.8) else ""
        entries.append(f'<a href="/g/{at}"{title}>{image(alt, at)}</a>')
    return (_heading(voice) if chance.yes(.5) else "") + "\n".join(entries)


def landing(voice):
    """Many pictures and outgoing links, short captions."""
    chance = voice.chance
    parts = [f"<h2>{escape(voice.say('title'))}</h2>"]
    parts.append("\n".join(thumbnail(voice, habits(chance, captions=.5, figures=.2)) for _ in
                           range(chance.between(8, 24))))
    for _ in range(chance.between(1, 3)):
        parts.append("<div>" + " | ".join(link(voice.say("linktitle"), f"out/{at}") for at in
                                          range(chance.between(5, 20))) + "</div>")
    return "\n".join(parts)


def live(voice):
    chance = voice.chance
    parts = [_heading(voice), menu(voice, chance.between(4, 16), "tag")]
    for at in range(chance.between(8, 24)):
        name = voice.person()
        alt = voice.say("alt") if chance.yes(.5) else name
        parts.append(f'<div><a href="/live/{at}">{image(alt, at)}</a> <b>{escape(name)}</b> <span>{count(chance)}</span> '
                     f"<p>{escape(voice.say('caption') if chance.yes(.6) else '')}</p></div>")
    return "\n".join(parts)


def listing(voice):
    """Small ads, or people who offer a service."""
    chance = voice.chance
    parts = [_heading(voice), menu(voice, chance.between(3, 12), "tag")]
    for at in range(chance.between(5, 14)):
        parts.append(f'<article><a href="/ad/{at}">{image(voice.say("alt") if chance.yes(.5) else "", at)}</a>'
                     f"<h3>{link(voice.say('caption'), f'ad/{at}')}</h3><p>{escape(voice.person())}, "
                     f"{chance.between(19, 60)}</p><p>{escape(voice.say('line'))}</p>"
                     f"<span>{chance.between(3, 60) * 10} &euro;</span></article>")
    return "\n".join(parts)


def person(voice):
    """One person's page: figures, services, prices."""
    chance, labels = voice.chance, voice.labels
    values = {0: chance.between(21, 55), 1: f"{chance.between(155, 195)} cm", 2: f"{chance.between(48, 95)} kg",
              5: "English", 7: f"{chance.between(5, 60) * 10} &euro;"}
    rows = [f"<tr><td>{escape(labels[at])}</td><td>{value}</td></tr>" for at, value in values.items() if chance.yes(.8)]
    rows += [f"<tr><td>{escape(voice.say('tag'))}</td><td>{chance.pick(('+', 'x', 'OK', '-'))}</td></tr>"
             for _ in range(chance.between(2, 14))]
    pictures = "".join(image(voice.say("alt") if chance.yes(.5) else "", at) for at in range(chance.between(3, 10)))
    return "\n".join([f"<h1>{escape(voice.person())} \u2013 {escape(voice.say('caption'))}</h1>", pictures,
                      f"<h2>{escape(labels[9])}</h2>", paragraphs(voice, chance.between(1, 3)),
                      f"<table>{''.join(rows)}</table>", f"<h2>{escape(labels[10])}</h2>",
                      menu(voice, chance.between(4, 16), "tag")])


def shop(voice):
    chance = voice.chance
    parts = ["<aside><ul>" + "".join(f"<li>{link(voice.say('tag', 'shop'), at)}</li>" for at in
                                     range(chance.between(6, 20))) + "</ul></aside>", _heading(voice)]
    for at in range(chance.between(6, 20)):
        name = voice.say("shop")
        parts.append(f'<div class="product"><a href="/p/{at}">{image(name if chance.yes(.6) else "", at)}</a>'
                     f"<h3>{escape(name)}</h3><span>{chance.between(4, 149)}.{chance.pick(('90', '95', '99', '00'))} &euro;"
                     f"</span> <button>{escape(voice.plain('shop'))}</button></div>")
    if chance.yes(.5):
        parts.append(paragraphs(voice, chance.between(1, 3)))
    return "\n".join(parts)


def members(voice):
    chance = voice.chance
    parts = [_heading(voice), f"<form><select><option>{escape(voice.labels[6])}</option></select>"
             f"<button>{escape(voice.say('menu'))}</button></form>"]
    for at in range(chance.between(6, 18)):
        parts.append(f'<div>{image("", at)}<b>{escape(voice.person())}</b>, {chance.between(20, 65)}'
                     f"<p>{escape(voice.say('line') if chance.yes(.7) else voice.say('caption'))}</p></div>")
    return "\n".join(parts)


def forum(voice):
    chance = voice.chance
    rows = [f"<tr><td>{link(voice.say('caption'), f't/{at}')}</td><td>{escape(voice.person())}</td>"
            f"<td>{chance.between(0, 400)}</td><td>{count(chance)}</td></tr>" for at in range(chance.between(8, 24))]
    thread = comments(voice, chance.between(2, 6)) if chance.yes(.4) else ""
    return _heading(voice) + f"<table>{''.join(rows)}</table>" + thread


def gate(voice):
    """A first page that asks before it lets in; mostly nothing else."""
    chance = voice.chance
    parts = [f"<h1>{escape(voice.brand)}</h1>"]
    parts += [f"<p>{escape(voice.say('notice'))}</p>" for _ in range(chance.between(2, 5))]
    parts.append(f"<p>{link(voice.say('notice'), 'enter')} {link(voice.plain('menu'), 'leave')}</p>")
    if chance.yes(.5):
        parts.append(paragraphs(voice, chance.between(1, 2)))
    if chance.yes(.4):
        parts.append(_grid(voice, 3, 8))
    return "\n".join(parts)


def blog(voice):
    chance = voice.chance
    parts = []
    for at in range(chance.between(3, 8)):
        parts.append(f"<article><h2>{link(voice.say('caption'), f'post/{at}')}</h2>"
                     f"<time>{chance.between(2014, 2026)}-{chance.between(1, 12):02d}-{chance.between(1, 28):02d}</time>"
                     f"{image(voice.say('alt'), at) if chance.yes(.7) else ''}{paragraphs(voice, chance.between(0, 2))}"
                     f"{tags(voice, chance.between(1, 6))}</article>")
    parts.append(f"<aside>{menu(voice, chance.between(5, 20), 'tag')}</aside>")
    return "\n".join(parts)


def links(voice):
    chance = voice.chance
    parts = [_heading(voice)]
    for _ in range(chance.between(2, 6)):
        parts.append(_heading(voice, 2, "tag") + "<ol>" + "".join(
            f"<li>{link(voice.say('linktitle'), f'out/{at}')}"
            f"{' ' + escape(voice.say('line')) if chance.yes(.25) else ''}</li>"
            for at in range(chance.between(4, 14))) + "</ol>")
    return "\n".join(parts)


def cloud(voice):
    """A page of tags, with some thumbnails."""
    chance = voice.chance
    return _heading(voice, 1, "tag") + _grid(voice, 4, 12) + tags(voice, chance.between(25, 80))


def terms(voice):
    """Questions, rates or conditions: text only, short."""
    chance = voice.chance
    parts = [_heading(voice, 1, "line" if chance.yes(.3) else "caption")]
    for _ in range(chance.between(2, 6)):
        parts.append(f"<h2>{escape(voice.say('line'))}</h2>{paragraphs(voice, chance.between(1, 2))}")
        if chance.yes(.3):
            parts.append("<ul>" + "".join(f"<li>{escape(voice.say('caption'))}</li>" for _ in
                                          range(chance.between(2, 6))) + "</ul>")
    return "\n".join(parts)


def article(voice):
    """Text, a picture or two, and where to go on."""
    chance = voice.chance
    parts = [_heading(voice)]
    for at in range(chance.between(2, 6)):
        if chance.yes(.3):
            parts.append(_heading(voice, 2, "caption"))
        parts.append(paragraphs(voice, chance.between(1, 3)))
        if chance.yes(.2):
            parts.append(image(voice.say("alt") if chance.yes(.5) else "", at))
    if chance.yes(.5):
        parts.append(menu(voice, chance.between(2, 6), "linktitle"))
    return "\n".join(parts)


def head_only(voice):
    """Little but pictures: what there is to read stands in the head."""
    chance = voice.chance
    pictures = "".join(f'<a href="/{at}">{image("", at)}</a>' for at in range(chance.between(4, 25)))
    return pictures + f"<p>{link(voice.plain('menu'), 'enter')}</p>"


# The kinds of page of a site, by theme, with their weights.
THEMES = {
    "cat": {tube: 6, categories: 3, video: 5, gallery: 4, landing: 3, cloud: 3, links: 2, blog: 2, gate: 2, forum: 1,
            head_only: 2},
    "act": {tube: 4, video: 4, gallery: 3, landing: 3, members: 4, blog: 3, forum: 3, gate: 1, cloud: 1, head_only: 1},
    "cam": {live: 6, landing: 2, gallery: 1, categories: 1, person: 2, members: 1, gate: 1, head_only: 1},
    "escort": {listing: 5, person: 6, terms: 4, gallery: 2, blog: 1, landing: 1, links: 1,
               gate: 1},
    "shop": {shop: 7, terms: 1, categories: 1, blog: 1, landing: 1, gate: 1},
}
# Those with more text than lists.
QUIET = {article: 5, terms: 5, person: 4, blog: 1, gate: 1}

"""Markup: the small pieces of HTML that all layouts share, and the frame around a page."""
LANGUAGE_LINKS = ("English", "Deutsch", "Fran\u00e7ais", "Espa\u00f1ol", "Italiano", "Portugu\u00eas", "Polski",
                  "\u0420\u0443\u0441\u0441\u043a\u0438\u0439", "T\u00fcrk\u00e7e", "\u65e5\u672c\u8a9e", "\u4e2d\u6587")


def escape(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace('"', "&quot;")


def link(text, number, title=None):
    told = "" if title is None else f' title="{escape(title)}"'
    return f'<a href="/{number}"{told}>{escape(text)}</a>'


def image(alt, number, extra=""):
    return f'<img src="/t/{number}.jpg" alt="{escape(alt)}"{extra}>'


def count(chance):
    """Views, as sites write them."""
    return chance.pick((f"{chance.between(2, 999)}K", f"{chance.between(1, 9)}.{chance.between(0, 9)}M",
                        f"{chance.between(100, 99999)}", f"{chance.between(1, 99)},{chance.between(100, 999)}"))


def duration(chance):
    return f"{chance.between(0, 59)}:{chance.between(0, 59):02d}"


def thumbnail(voice, habits):
    """A picture that leads to a video or gallery, with caption and figures as the site has it."""
    chance = voice.chance
    number = chance.between(1000, 999999)
    caption = voice.say("caption") if habits["captions"] else ""
    alt = caption if habits["alt"] == "caption" else voice.say("alt") if habits["alt"] == "own" else ""
    title = caption if habits["link"] == "caption" else voice.say("linktitle") if habits["link"] == "own" else None
    told = "" if title is None else f' title="{escape(title)}"'
    parts = [f'<a class="thumb" href="/v/{number}"{told}>{image(alt, number, habits["size"])}</a>']
    if habits["figures"]:
        parts.append(f'<span class="duration">{duration(chance)}</span>')
    if caption:
        parts.append(f'<p class="name">{link(caption, f"v/{number}", title)}</p>')
    if habits["figures"]:
        parts.append(f"<span>{count(chance)} {escape(voice.labels[14])}</span> <span>{chance.between(55, 100)}%</span>")
    if habits["tags"] and chance.yes(.5):
        parts.append(tags(voice, chance.between(1, 3)))
    return f'<div class="item">{"".join(parts)}</div>'


def habits(chance, captions=.8, figures=.7, tagged=.15):
    """How one page shows its thumbnails."""
    return {"captions": chance.yes(captions), "figures": chance.yes(figures), "tags": chance.yes(tagged),
            "alt": chance.pick(("caption", "own", "own", "none")), "link": chance.pick(("caption", "own", "none")),
            "size": chance.pick(("", ' width="320" height="180"', ' loading="lazy"'))}


def tags(voice, number):
    return '<div class="tags">' + " ".join(link(voice.say("tag"), f"tag/{at}") for at in range(number)) + "</div>"


def menu(voice, number, place="menu"):
    entries = (link(voice.say(place), voice.chance.between(1, 999)) for _ in range(number))
    return "<ul>" + "".join(f"<li>{entry}</li>" for entry in entries) + "</ul>"


def paragraphs(voice, number):
    return "".join(f"<p>{escape(voice.say('line'))}</p>" for _ in range(number))


def comments(voice, number):
    return "".join(f'<div class="comment"><b>{escape(voice.person())}{voice.chance.between(1, 99)}</b> '
                   f"<p>{escape(voice.say('line'))}</p></div>" for _ in range(number))


def _head(voice, lang):
    chance = voice.chance
    title = voice.title()
    lines = ['<meta charset="utf-8">', f"<title>{escape(title)}</title>"]
    if voice.full_head or chance.yes(.6):
        lines.append(f'<meta name="description" content="{escape(voice.say("description"))}">')
    if voice.full_head or chance.yes(.4):
        keywords = ", ".join(voice.say("keywords") for _ in range(chance.between(4, 14)))
        lines.append(f'<meta name="keywords" content="{escape(keywords)}">')
    if chance.yes(.4):
        lines.append(f'<meta property="og:title" content="{escape(title)}">')
    if chance.yes(.6):
        lines.append('<meta name="viewport" content="width=device-width, initial-scale=1">')
    lines += ["<script></script>"] * chance.between(0, 6)
    return "\n".join(lines), f' lang="{lang}"' if chance.yes(.7) else ""


def _cookies(voice):
    return f'<div class="cookies"><p>{escape(voice.plain("notice"))}</p><button>OK</button></div>'


def _footer(voice):
    chance = voice.chance
    parts = ["".join(link(voice.plain("menu"), at) + " " for at in range(chance.between(2, 8)))]
    if chance.yes(.6):
        parts.append(f"<p>{escape(voice.say('notice'))}</p>")
    if chance.yes(.4):
        parts.append(f"<p>{escape(voice.plain('notice'))}</p>")
    if chance.yes(.3):
        parts.append('<div class="friends">' + " ".join(link(voice.say("linktitle"), f"out/{at}")
                                                        for at in range(chance.between(4, 14))) + "</div>")
    parts.append(f"<p>\u00a9 {chance.between(2012, 2026)} {escape(voice.brand)}</p>")
    return "<footer>" + "".join(parts) + "</footer>"


def page(voice, lang, body, bare=False):
    """The whole page; a bare one has neither menu nor footer."""
    chance = voice.chance
    head, told = _head(voice, lang)
    parts = []
    if not bare:
        if chance.yes(.4):
            parts.append(_cookies(voice))
        logo = image(voice.brand, "logo") if chance.yes(.5) else escape(voice.brand)
        parts.append(f'<header><a href="/">{logo}</a>')
        if chance.yes(.6):
            parts.append(f'<form><input name="q" placeholder="{escape(voice.plain("menu"))}"></form>')
        parts.append(f"<nav>{menu(voice, chance.between(3, 12))}</nav></header>")
        if chance.yes(.2):
            parts.append("<div>" + " ".join(link(name, at) for at, name in
                                            enumerate(chance.some(LANGUAGE_LINKS, 6))) + "</div>")
    parts.append(f"<main>{body}</main>")
    parts += ["<script></script>"] * chance.between(0, 3)
    if not bare:
        parts.append(_footer(voice))
    body = "\n".join(parts)
    return f"<!DOCTYPE html>\n<html{told}>\n<head>\n{head}\n</head>\n<body>\n{body}\n</body>\n</html>\n"

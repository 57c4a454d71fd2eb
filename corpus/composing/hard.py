"""Hard pages: the written legitimate pages, shown as whole pages in several ways."""
from .markup import comments, escape, image, link, menu, tags


def article(voice, page):
    rows = "".join(f"<p>{escape(text)}</p>" for text in page["paragraphs"])
    return f"<article><h1>{escape(page['title'])}</h1>{rows}</article>"


def magazine(voice, page):
    """The page beside other matter, its paragraphs broken by headings and pictures."""
    parts = [f"<h1>{escape(page['title'])}</h1><p><b>{escape(page['description'])}</b></p>"]
    for at, text in enumerate(page["paragraphs"]):
        if voice.chance.yes(.5):
            parts.append(image(page["title"] if at == 0 else voice.say("alt"), at))
        parts.append(f"<p>{escape(text)}</p>")
    parts.append(f"<aside><h3>{escape(voice.plain('menu'))}</h3>{menu(voice, voice.chance.between(4, 12), 'tag')}</aside>")
    return "\n".join(parts) + comments(voice, voice.chance.between(0, 4))


def questions(voice, page):
    """Cut into short answers, as pages of help are."""
    parts = [f"<h1>{escape(page['title'])}</h1><dl>"]
    for text in page["paragraphs"]:
        first, point, rest = text.partition(". ")
        parts.append(f"<dt>{escape(first + point.strip())}</dt><dd>{escape(rest)}</dd>")
    return "\n".join(parts) + "</dl>"


def teaser(voice, page):
    """Only the beginning, among the beginnings of other things: little text, strong words and all."""
    chance = voice.chance
    parts = [f'<div><a href="/1" title="{escape(page["title"])}">{image(page["title"], 1)}</a><h2>'
             f"{link(page['title'], 1)}</h2><p>{escape(page['description'])}</p><p>{escape(page['paragraphs'][0])}</p></div>"]
    for at in range(2, chance.between(4, 9)):
        parts.append(f"<div>{image(voice.say('alt'), at)}<h2>{link(voice.say('caption'), at)}</h2>"
                     f"<p>{escape(voice.say('line'))}</p></div>")
    return "\n".join(parts) + tags(voice, chance.between(2, 8))


WAYS = (article, magazine, questions, teaser)

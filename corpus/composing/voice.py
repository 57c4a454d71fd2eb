"""Voice: says what stands in each place of a page.

The layouts ask a voice for titles, captions, tags and lines and know nothing else, so adult and legitimate pages come in the
very same layouts. A plain voice says fragments only; an adult one says an adult phrase with the probability that the
page's profile has for the place.
"""

NAMES = ("Anna Maria Julia Laura Sofia Elena Nina Lea Sara Eva Lisa Mia Lena Kate Emma Clara Vera Diana Bella Jana Olga Petra "
         "Monika Rosa Carla Marta Lucia Ines Alice Chloe Amelie Yuki Mei Aiko Linh Priya Leila Aylin Zeynep Dilara "
         "Marco Alex Tom Nick Max Leo Ivan Paul Erik Daniel Kenji Ravi Omar Emre Jack Luca Bruno Viktor").split()
_PLACES = ("title", "description", "keywords", "menu", "caption", "alt", "linktitle", "tag", "line")

# How often a piece of a real page stands for a fragment of that kind.
_CONTENT = {"caption": .6, "line": .6, "tag": .3}
# So many characters has a name for what a site offers; what is longer is a title.
_SHORT_PHRASE = 18
# How often a tag is one that adult pages have more of.
_SOFT, _SOFT_ON_ADULT_PAGES = .03, .5


class Voice:
    """A plain voice."""

    soft = _SOFT

    def __init__(self, chance, brand, plain, labels, pieces=()):
        self.chance, self.brand, self.labels = chance, brand, labels
        self._plain, self._pieces = plain, pieces
        self.hits = 0
        self.full_head = chance.yes(.15)  # description and keywords in any case

    def plain(self, kind):
        if kind == "tag" and "soft" in self._plain and self.chance.yes(self.soft):
            return self.chance.pick(self._plain["soft"])
        pool = self._plain.get(kind) or self._plain["caption"]
        # Pieces of real pages stand for content; menus and notices are our own.
        if self._pieces and kind in _CONTENT and self.chance.yes(_CONTENT[kind]):
            piece = self.chance.pick(self._pieces)
            return " ".join(piece.split()[:self.chance.between(2, 5)]) if kind == "tag" else piece
        return self.chance.pick(pool)

    def say(self, place, kind=None):
        """What stands in a place: title description keywords menu caption alt linktitle tag line notice shop."""
        return self.plain({"menu": "menu", "notice": "notice", "line": "line", "description": "line", "shop": "shop",
                           "tag": "tag", "keywords": "tag"}.get(kind or place, "caption"))

    def title(self):
        parts = [self.say("title") for _ in range(self.chance.between(1, 2))] + [self.brand]
        if self.chance.yes(.2):
            parts.reverse()
        return self.chance.pick((" - ", " | ", ": ", " \u2013 ")).join(parts[:3])

    def person(self):
        return self.chance.pick(NAMES)


class AdultVoice(Voice):
    soft = _SOFT_ON_ADULT_PAGES

    def __init__(self, chance, site, density, theme, pieces=()):
        super().__init__(chance, site.brand, site.plain, site.labels, pieces)
        self._site, self._density, self._theme = site, density, theme
        self.full_head |= density["keywords"] > .85

    def _phrase(self, place, kind):
        words = self._site.words(self.chance)
        if place == "notice":
            kinds = ("notice",)
        elif place == "menu":
            kinds = ("menu", "cat", "menu", self._theme)
        elif place == "shop" or kind == "shop":
            kinds = ("shop",)
        elif place in ("tag", "keywords"):
            kinds = ("cat", "cat", self._theme)
        elif place in ("line", "description"):
            kinds = ("act", "act", "notice", self._theme, "cat")
        else:
            kinds = ("cat", "act", self._theme, self._theme)
        pool = words.get(self.chance.pick(kinds)) or words["cat"]
        return self.chance.pick(pool)

    def say(self, place, kind=None):
        chance = self.chance
        if not chance.yes(self._density.get(place, self._density["line"])):
            return super().say(place, kind)
        self.hits += 1
        phrase = self._phrase(place, kind)
        if place in ("title", "caption", "alt", "linktitle"):
            return self._styled(self._title_of(phrase))
        if place in ("line", "description"):
            rest = [self._phrase(place, kind) if chance.yes(.7) else super(AdultVoice, self).say("line")
                    for _ in range(chance.between(0, 3))]
            return chance.pick((", ", ". ", " - ", ", ")).join([phrase, *rest])
        return phrase

    def _title_of(self, phrase):
        chance = self.chance
        form = chance.between(0, 9)
        if form < 4:
            return phrase
        other = self._phrase("caption", None)
        if form < 6:
            return f"{phrase} {other[:1].lower()}{other[1:]}"
        if form == 6:
            return f"{self.person()} {phrase[:1].lower()}{phrase[1:]}"
        if form == 7:
            return f"{phrase} {chance.pick(('-', '|', '&', '+', ','))} {other}"
        if form == 8:
            return f"{super().say('caption')} - {phrase}"
        return f"{phrase} {chance.pick(('HD', '4K', '#' + str(chance.between(2, 90)), '1080p', '(2)'))}"

    def _styled(self, text):
        return {"title": str.title, "upper": str.upper, "lower": str.lower}.get(self._site.style, str)(text)


class QuietVoice(AdultVoice):
    """Names what the site offers by one to three words of its own, again and again, and is polite otherwise."""

    soft = _SOFT

    def __init__(self, chance, site, theme, pieces=()):
        often = chance.part(.15, .5)
        density = {place: often for place in _PLACES}
        density.update(notice=often / 2, shop=often, keywords=.5, title=chance.pick((.1, .5, .9)), menu=chance.part(.05, .3))
        super().__init__(chance, site, density, theme, pieces)
        self.full_head = False
        words = site.words(chance)
        named = [phrase for kind in (theme, "cat") for phrase in words[kind] if len(phrase) <= _SHORT_PHRASE]
        self._named = chance.some(named or words["cat"], chance.weighted({1: 5, 2: 3, 3: 2}))

    def _phrase(self, place, kind):
        return self.chance.pick(self._named)

    def say(self, place, kind=None):
        if place not in ("line", "description"):
            return super().say(place, kind)
        lines = [Voice.say(self, place, kind) for _ in range(self.chance.between(1, 3))]
        if self.chance.yes(self._density[place]):
            self.hits += 1
            at = self.chance.between(0, len(lines) - 1)
            named = self._phrase(place, kind)
            lines[at] = self.chance.pick((f"{lines[at]}: {named}", f"{named} - {lines[at]}", f"{lines[at]} ({named})", named))
        return ". ".join(lines)


def profile(chance):
    """(name, probability of an adult phrase by place): where adult pages carry their words, in many ways."""
    def everywhere(least, most, **places):
        level = chance.part(least, most)
        return {**{place: level for place in _PLACES}, "notice": level, "shop": level, **places}

    name = chance.weighted({"rich": 22, "mixed": 20, "pictures": 16, "captions": 9, "tags": 8, "meta": 7,
                            "keywords": 4, "sparse": 6, "plain head": 8})
    if name == "rich":
        return name, everywhere(.6, .95)
    if name == "mixed":
        return name, everywhere(.25, .6)
    if name == "pictures":
        return name, everywhere(.03, .15, alt=chance.part(.6, 1), linktitle=chance.part(.4, 1),
                                title=chance.part(.1, .6))
    if name == "captions":
        return name, everywhere(.03, .15, caption=chance.part(.6, 1), title=chance.part(.2, .8), alt=0)
    if name == "tags":
        return name, everywhere(.03, .12, tag=chance.part(.6, 1), keywords=chance.part(.4, 1), menu=.3)
    if name == "meta":
        return name, everywhere(.03, .15, title=1, description=.9, keywords=.9)
    if name == "keywords":
        return name, everywhere(.03, .1, keywords=.95)
    if name == "sparse":
        return name, everywhere(.12, .25)
    return name, everywhere(.45, .8, title=0, description=0, keywords=0)

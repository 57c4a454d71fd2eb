"""Site: a composed site: its name, its part of the words, its habits."""
from . import material
from .chance import Chance

_SYLLABLES = ("ba be bo ca co da de do fa fe ga go ka ki la le li lo lu ma me mi mo na ne ni no pa pe po ra re ri ro sa se si so "
              "ta te ti to va ve vi vo za zo").split()
_ENDINGS = ("", "", "ly", "hub24", "online", "world", "plus", "net", "spot", "zone", "base", "box")
# A brand tells the subject on about every other adult site.
_STEMS = ("porn", "sex", "xxx", "nude", "erotic", "slut", "fuck", "milf", "kink", "horny", "tits")


def brand(chance, adult):
    word = "".join(chance.pick(_SYLLABLES) for _ in range(chance.between(2, 3)))
    if adult and chance.yes(.5):
        word = chance.pick(_STEMS) + word if chance.yes(.6) else word + chance.pick(_STEMS)
    return (word + chance.pick(_ENDINGS)).capitalize()


def _part(chance, words):
    """A third to two thirds of each kind, at least four."""
    return {kind: chance.some(phrases, max(4, int(len(phrases) * chance.part(.33, .67))))
            for kind, phrases in words.items()}


class Site:
    def __init__(self, seed, lang, group, number):
        chance = self.chance = Chance(seed, "site", lang, group, number)
        self.lang, self.name = lang, f"own-{lang}-{group}-{number:03d}"
        # Chinese is written in two scripts; a site keeps to one.
        self.source = "zh-hant" if lang == "zh" and number % 3 == 2 else lang
        self.labels = material.labels(self.source)
        self.plain = material.fragments(self.source)
        self.style = chance.weighted({"as is": 6, "title": 2, "upper": 1, "lower": 2})
        adult = group in ("adult", "quiet")
        self.brand = brand(chance, adult)
        if adult:
            self._own = _part(chance, material.vocabulary(self.source))
            self._english = _part(chance, material.vocabulary("en"))
            # Sites in every language mix English in, most a little, some a lot.
            self._share = 0 if lang == "en" else chance.pick((0, .1, .1, .25, .25, .5))

    def words(self, chance):
        """The phrases that the next one comes from, by kind."""
        return self._english if self._share and chance.yes(self._share) else self._own

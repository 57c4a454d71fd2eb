"""Chance: choices that are the same in every version of Python, given the same seed.

The standard generator keeps its numbers but not its choices and shuffles from version to version, so this is one of our own:
splitmix64, started from a hash of whatever the seed is made of.
"""
import hashlib

_MASK = (1 << 64) - 1


class Chance:
    def __init__(self, *seed):
        digest = hashlib.sha256("\x1f".join(str(part) for part in seed).encode("utf-8")).digest()
        self._state = int.from_bytes(digest[:8], "big")

    def bits(self):
        """The next 64 bits."""
        self._state = (self._state + 0x9E3779B97F4A7C15) & _MASK
        z = self._state
        z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & _MASK
        z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & _MASK
        return z ^ (z >> 31)

    def between(self, least, most):
        """A whole number, both ends included."""
        return least + self.bits() % (most - least + 1)

    def part(self, least, most):
        """A number from least up to most."""
        return least + (most - least) * (self.bits() >> 11) / (1 << 53)

    def yes(self, probability):
        return (self.bits() >> 11) < probability * (1 << 53)

    def pick(self, items):
        return items[self.bits() % len(items)]

    def some(self, items, count):
        """That many different items, or all, in random order."""
        pool = list(items)
        count = min(count, len(pool))
        for at in range(count):
            other = self.between(at, len(pool) - 1)
            pool[at], pool[other] = pool[other], pool[at]
        return pool[:count]

    def weighted(self, weights):
        """A key of the mapping, by its weight."""
        left = self.part(0, sum(weights.values()))
        for key, weight in weights.items():
            left -= weight
            if left < 0:
                return key
        return key

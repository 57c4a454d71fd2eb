"""Ends of pauses, as people write them."""
import datetime
import re

from .layout import Fault

LONGEST = 31 * 24 * 3600  # a forgotten pause ends by itself
_UNITS = {"m": 60, "h": 3600, "d": 86400}


def after(text, now):
    """The end of --for: 45m, 2h, 1h30m, 1d."""
    if not re.fullmatch(r"(\d{1,6}[mhd])+", text):
        raise Fault(f"--for: expected a time like 45m, 2h, 1h30m or 1d, found {text or 'nothing'}")
    seconds = sum(int(number) * _UNITS[unit] for number, unit in re.findall(r"(\d+)([mhd])", text))
    return _checked("--for", now + seconds, now)


def at(text, now):
    """The end of --until: 18:30 (the next one), or 2026-12-24 18:30."""
    try:
        if re.fullmatch(r"\d{1,2}:\d{2}", text):
            hour, minute = map(int, text.split(":"))
            today = datetime.datetime.fromtimestamp(now)
            end = today.replace(hour=hour, minute=minute, second=0, microsecond=0)
            if end <= today:
                end += datetime.timedelta(days=1)
        else:
            end = datetime.datetime.fromisoformat(text)
        seconds = int(end.timestamp())
    except (ValueError, OverflowError):
        raise Fault(f"--until: expected a time like 18:30 or 2026-12-24 18:30, found {text or 'nothing'}") from None
    return _checked("--until", seconds, now)


def _checked(option, end, now):
    if end <= now:
        raise Fault(f"{option}: expected a time to come, found {spelt(end)}")
    if end > now + LONGEST:
        raise Fault(f"{option}: expected at most 31 days; to stop for good: sifterra-setup remove")
    return int(end)


def spelt(seconds):
    return datetime.datetime.fromtimestamp(seconds).strftime("%Y-%m-%d %H:%M")

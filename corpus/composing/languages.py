"""The languages of the corpus, and what tells them apart."""

LANGUAGES = ("en", "de", "fr", "es", "it", "pt", "nl", "pl", "ru", "cs", "sv", "da", "no", "fi", "hu", "ro", "el",
             "tr", "ar", "hi", "th", "vi", "id", "ja", "ko", "zh")
# Those with legitimate pages near the border.
PAGE_LANGUAGES = ("en", "de", "fr", "es", "it", "pt", "nl", "pl", "ru", "tr", "ja", "zh")
OWN_SCRIPT = {
    "ru": "[\u0400-\u04ff]", "el": "[\u0370-\u03ff]", "ar": "[\u0600-\u06ff]", "hi": "[\u0900-\u097f]",
    "th": "[\u0e00-\u0e7f]", "ja": "[\u3040-\u30ff\u4e00-\u9fff]", "ko": "[\uac00-\ud7af]",
    "zh": "[\u4e00-\u9fff]", "zh-hant": "[\u4e00-\u9fff]",
}
# Languages near enough to share whole lines.
RELATED = {frozenset(pair) for pair in (("da", "no"), ("da", "sv"), ("no", "sv"), ("es", "pt"), ("es", "it"),
                                        ("it", "pt"), ("zh", "zh-hant"), ("de", "nl"))}

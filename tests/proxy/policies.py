"""Preference files of managed users, as an administrator's program writes them (docs/policy.md)."""
import os
import plistlib


class Policies:
    """Preference files of users below a root, written as an administrator's program writes them."""

    def __init__(self, root):
        self.root = root
        os.makedirs(root, exist_ok=True)

    def path(self, user):
        return os.path.join(self.root, "Library", "Managed Preferences", user,
                            "com.vendrel.hearthguard.contentfilter.plist")

    def write(self, user, **keys):
        self.write_bytes(user, plistlib.dumps(keys))

    def write_bytes(self, user, data):
        path = self.path(user)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path + ".new", "wb") as file:
            file.write(data)
        os.rename(path + ".new", path)

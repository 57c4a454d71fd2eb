"""Files that are replaced as a whole: whoever reads sees the old one or the new one, also after the power went.

A new version is written beside its file, as NAME.new-XXXXXXXX. Those that a killed program left there are removed by the next
write of the same file: a policy that a browser would read as well, or a copy of the authority's key, must not lie about.
"""
import contextlib
import fcntl
import os
import re
import stat
import tempfile
import time

from .layout import Fault

NEW = ".new-"
# Nobody writes one file for so long.
SECONDS_OF_WRITER = 60


def read(path):
    """The bytes of a file, None when there is none."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return None
    except OSError as error:
        raise Fault(f"{path}: {error.strerror}") from None


def write(path, content, mode=0o644, owner=None):
    """Puts content (text or bytes) at path, through a synced temporary file. Answers whether anything changed."""
    data = content.encode() if isinstance(content, str) else content
    owner = owner if os.geteuid() == 0 else None
    _remove_leftovers(path, {os.geteuid(), owner[0] if owner else os.geteuid()}, SECONDS_OF_WRITER)
    if _is_already(path, data, mode, owner):
        return False
    folder, name = os.path.split(path)
    try:
        os.makedirs(folder, mode=0o755, exist_ok=True)
        handle, new = tempfile.mkstemp(prefix=name + NEW, dir=folder)
        try:
            with os.fdopen(handle, "wb") as file:
                file.write(data)
                os.fchmod(file.fileno(), mode)
                if owner:
                    os.fchown(file.fileno(), *owner)
                file.flush()
                os.fsync(file.fileno())
            os.rename(new, path)
        except BaseException:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(new)
            raise
        sync_folder(folder)
    except OSError as error:
        raise Fault(f"{path}: {error.strerror}") from None
    return True


def remove(path):
    """Answers whether there was a file. Nothing that was to replace it is left either."""
    _remove_leftovers(path, None, 0)
    try:
        os.unlink(path)
    except FileNotFoundError:
        return False
    except OSError as error:
        raise Fault(f"{path}: {error.strerror}") from None
    sync_folder(os.path.dirname(path))
    return True


def sync_folder(folder):
    handle = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(handle)
    finally:
        os.close(handle)


@contextlib.contextmanager
def only_one(path):
    """Two of these programs at once would each write what the other has not read."""
    try:
        os.makedirs(os.path.dirname(path), exist_ok=True)
        lock = open(path, "a", encoding="ascii")
    except OSError as error:
        raise Fault(f"{path}: {error.strerror} (sifterra-setup is for root)") from None
    with lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def _remove_leftovers(path, owners, age):
    """Removes the versions that were never renamed to path. owners: whose they have to be, None for anybody's; age: how old they
    have to be, in seconds, either way, because the clock may have been set. Links are not followed."""
    folder, name = os.path.split(path)
    # This program's random letters, and those of the services for the files that go with it.
    ours = re.compile(re.escape(name + NEW) + r"(\w{6}|\w{8})", re.ASCII)
    with contextlib.suppress(OSError), os.scandir(folder) as entries:
        for entry in entries:
            if not ours.fullmatch(entry.name):
                continue
            with contextlib.suppress(OSError):
                status = entry.stat(follow_symlinks=False)
                if (stat.S_ISREG(status.st_mode) and (owners is None or status.st_uid in owners) and
                        abs(time.time() - status.st_mtime) >= age):
                    os.unlink(entry.path)


def _is_already(path, data, mode, owner):
    try:
        status = os.lstat(path)
    except OSError:
        return False
    same_owner = owner is None or (status.st_uid, status.st_gid) == owner
    return status.st_mode == 0o100000 | mode and same_owner and read(path) == data

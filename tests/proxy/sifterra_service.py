"""The configuration lines of Sifterra's ICAP service, in one place for all tests and the benchmark."""
import os


def module(build):
    return os.path.join(build, "lib", "srv_sifterra.so")


def lines(build, root, directory, limit=None, default_user=None, user_map=None, **directives):
    """`directives` are further ones by their own names: Budget=500."""
    chosen = {"Root": root, "LibraryLog": "error", "MetricsFile": os.path.join(directory, "sifterra.prom"),
              "DefaultUser": default_user, "UserMap": user_map, "TextLimit": limit, **directives}
    return [f"Service sifterra {module(build)}", 'LogFormat sifterra "%tl %>a %im %is %Sl"',
            f"AccessLog {directory}/sifterra.log sifterra"] + [f"sifterra.{name} {value}" for name, value in chosen.items()
                                                    if value is not None]

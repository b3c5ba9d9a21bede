#!/usr/bin/python3 -SP
"""Runs the command line: what ./orbitrax of a checkout hands over to, once there is a build, and
what the command of an installed copy is.

It is started without the module `site`, which looks into every installed package's wishes and takes
as long as a small molecule does; the first module that is missing brings it in. Sources that are
newer than the backend are built first, where there are sources: not in an installed copy.
"""

import os
import sys

HERE = os.path.dirname(os.path.realpath(__file__))
TOP = os.path.dirname(HERE)


class Site:
    """The last of those who are asked for a module: adds the usual places of packages, once."""

    @staticmethod
    def find_spec(name, path=None, target=None):
        """Looks again in all places that `site` knows."""
        if path is not None:  # a part of a package that is there already
            return None
        sys.meta_path.remove(Site)
        import site

        site.main()
        return next((spec for finder in sys.meta_path
                     if (spec := finder.find_spec(name, None)) is not None), None)


def newest(folder):
    """When something in a folder changed last, seconds."""
    latest = os.stat(folder).st_mtime
    with os.scandir(folder) as entries:
        for entry in entries:
            changed = (newest(entry.path) if entry.is_dir(follow_symlinks=False) else
                       entry.stat().st_mtime)
            if changed > latest:
                latest = changed
    return latest


def is_stale():
    """Whether this is a checkout whose backend is older than its sources."""
    if not os.path.exists(os.path.join(TOP, "setup")):
        return False
    built = os.stat(os.path.join(TOP, "build", "release", ".built")).st_mtime
    return (newest(os.path.join(TOP, "src")) > built
            or os.stat(os.path.join(TOP, "CMakeLists.txt")).st_mtime > built)


def page_is_stale():
    """Whether this is a checkout whose page of `serve` is not bundled yet, or older than its
    sources."""
    if not os.path.exists(os.path.join(TOP, "setup")):
        return False
    serve = os.path.join(HERE, "orbitrax", "serve")
    try:
        built = os.stat(os.path.join(serve, "static", "page.js")).st_mtime
    except OSError:
        return True
    return newest(os.path.join(serve, "page")) > built


def set_up(reason, *options):
    """Builds; what it says goes to standard error."""
    command = " ".join(("./setup", *options))
    print(f"orbitrax: {reason}; running {command}", file=sys.stderr, flush=True)
    setup = os.path.join(TOP, "setup")
    pid = os.posix_spawn(setup, [setup, *options], os.environ,
                         file_actions=[(os.POSIX_SPAWN_DUP2, 2, 1)])
    if os.waitpid(pid, 0)[1] != 0:
        sys.exit(1)


if __name__ == "__main__":
    sys.path.insert(0, HERE)
    if sys.flags.no_site:
        sys.meta_path.append(Site)
    try:
        if is_stale():
            set_up("the backend is older than its sources")
        if ("serve" in sys.argv[1:2] and not {"-h", "--help"} & set(sys.argv)
                and page_is_stale()):
            set_up("the page is not bundled yet, or older than its sources", "--page")
        from orbitrax.cli import entry

        entry()
    except KeyboardInterrupt:  # before there is anything to tell: as a program without Python does
        import _signal as signal

        signal.signal(signal.SIGINT, signal.SIG_DFL)
        os.kill(os.getpid(), signal.SIGINT)

"""Helpers the editor calls in the host's Python. Executed in the main namespace, so the class is
reachable by its bare name from later commands."""
import keyword
import os
import sys

try:
    import maya.mel
except ImportError:
    # The standalone editor has no Maya; environment variables are then read directly.
    maya = None


class KestrelEditorHelpers(object):
    """No instances: every method is a class method."""

    @classmethod
    def list_keywords(cls):
        # Older interpreters do not list these as keywords; the editor treats them as such.
        for name in ("True", "False", "None"):
            if name not in keyword.kwlist:
                keyword.kwlist.append(name)
        return keyword.kwlist

    @classmethod
    def list_builtins(cls):
        return dir(__builtins__)

    @classmethod
    def python_version(cls):
        return "{0}.{1}.{2}".format(sys.version_info[0], sys.version_info[1], sys.version_info[2])

    @classmethod
    def get_python_path_str(cls):
        return os.pathsep.join(sys.path)

    @classmethod
    def print_python_path(cls):
        print("\nPYTHONPATH:")
        for entry in sys.path:
            print(entry)

    @classmethod
    def print_maya_env_var_paths(cls, env_var):
        if maya is not None:
            value = maya.mel.eval('getenv "{0}"'.format(env_var))
        else:
            value = os.environ.get(env_var, "")
        print("\n{0}:".format(env_var))
        for part in value.split(os.pathsep):
            print(part)

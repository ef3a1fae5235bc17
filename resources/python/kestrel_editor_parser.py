# Kestrel Editor 2: source analysis for Python completion, run inside the host's interpreter.
#
# The editor executes this text once in the host's __main__ namespace and then calls it through
# short expressions such as
#     KestrelEditorParser().parse_source("<escaped buffer>", "obj", 1, 0)
#     KestrelEditorParser.syntax_check("<escaped text>")
# The buffer it receives has the statement under the cursor replaced by a locator
# (__kestrel_lctr_hlvd__, or a def/class header using it), so the visitors know where the cursor
# is. Every entry point answers with an empty result instead of raising: nothing from here may
# reach the user's output.
#
# Supported interpreters: Python 3.7 and later. Keep to 3.7 syntax, and to APIs that later
# versions neither removed nor deprecated: hosts run this with their own warning filters.

import ast
import gc
import importlib.machinery
import inspect
import itertools
import os
import pkgutil
import re
import sys
import time
import tokenize
import types
import warnings
import zipimport


class KestrelEditorParser(ast.NodeVisitor):
    VERSION = "2.0.1"

    # The names the editor has always offered, whatever the interpreter's version.
    KEYWORDS = [
        "and", "as", "assert", "break", "class", "continue", "def", "del", "elif", "else",
        "except", "exec", "finally", "for", "from", "global", "if", "import", "in", "is",
        "lambda", "not", "or", "pass", "print", "raise", "return", "try", "while", "with",
        "yield", "None", "True", "False",
    ]

    BUILTINS = [
        "abs", "all", "any", "basestring", "bin", "bool", "bytearray", "callable", "chr",
        "classmethod", "cmp", "compile", "complex", "delattr", "dict", "dir", "divmod",
        "enumerate", "eval", "execfile", "file", "filter", "float", "format", "frozenset",
        "getattr", "globals", "hasattr", "hash", "help", "hex", "id", "input", "int",
        "isinstance", "issubclass", "iter", "len", "list", "locals", "long", "map", "max",
        "memoryview", "min", "next", "object", "oct", "open", "ord", "pow", "print", "property",
        "range", "raw_input", "reduce", "reload", "repr", "reversed", "round", "set", "setattr",
        "slice", "sorted", "staticmethod", "str", "sum", "super", "tuple", "type", "unichr",
        "unicode", "vars", "xrange", "zip", "__import__", "apply", "buffer", "coerce", "intern",
    ]

    initialized = False

    _LOCATOR = "__kestrel_lctr_hlvd__"
    _DEF_LOCATOR = "__kedefloc__"
    _CLASS_LOCATOR = "__keclsloc__"

    _MAYA_MODULES = (
        "maya.cmds", "maya.mel", "maya.OpenMaya", "maya.OpenMayaAnim", "maya.OpenMayaCloth",
        "maya.OpenMayaFX", "maya.OpenMayaMPx", "maya.OpenMayaRender", "maya.OpenMayaUI",
    )

    class _Str(object):
        """Kind of a string literal, whichever node class this interpreter's ast uses for it."""

    class _Num(object):
        """Kind of a number literal."""

    # Kinds whose stored value is a real object: they complete with its dir().
    _VALUE_KINDS = (_Str, _Num, ast.List, ast.Dict, ast.Tuple)

    # Only statements can hold what the visitors record; expressions are never walked.
    _BLOCK_NODES = (ast.stmt, ast.excepthandler) + (
        (ast.match_case,) if hasattr(ast, "match_case") else ())

    _NAME_START = re.compile(r"^[A-Za-z_]")
    # A line starting a top-level statement; else/elif/except/finally and closing brackets
    # continue the statement before them.
    _TOP_LEVEL_LINE = re.compile(r"^(?=[^\s#)\]}])(?!(?:else|elif|except|finally)\b)", re.M)
    # The standard library archive of embedded interpreters (python37.zip and so on).
    _STDLIB_ZIP = re.compile(r"python\d+\.zip$", re.I)
    _EXTENSION_SUFFIXES = tuple(importlib.machinery.EXTENSION_SUFFIXES) + (".pyd", ".so")

    # Top-level blocks of recent buffers, text -> statements. Completion re-sends the whole
    # buffer at every request while only the lines around the cursor change. A block is kept
    # only once it proved to hold complete statements, so its text means the same anywhere.
    _chunk_cache = {}
    _salvaging = False  # set on an instance while it retries an unparseable buffer
    # Broken blocks of recent buffers, text -> the statements their repair kept.
    _repair_cache = {}
    # Module paths being resolved; modules importing each other must not recurse forever.
    _modules_in_progress = set()

    class ParsedClass(object):
        def __init__(self, name):
            self.name = name
            self.classes = []
            self.functions = []
            self.variables = {}
            self.self_variables = {}
            self.cls_variables = {}
            self.parent_members = []

        def append_function(self, function):
            self.functions.append(function)

        def append_variable(self, name, value):
            KestrelEditorParser._store(self.variables, name, value)

        def append_self_variable(self, name, value):
            KestrelEditorParser._store(self.self_variables, name, value)

        def append_cls_variable(self, name, value):
            KestrelEditorParser._store(self.cls_variables, name, value)

    class ParsedFunction(object):
        def __init__(self, name, arguments, decorators):
            self.name = name
            self.variables = {}
            self.arguments = arguments
            self.decorators = decorators

        def append_variable(self, name, value):
            KestrelEditorParser._store(self.variables, name, value)

    def __init__(self):
        ast.NodeVisitor.__init__(self)
        self._use_cache = True
        self.clear()
        if not KestrelEditorParser.initialized:
            KestrelEditorParser.initialize()

    def clear(self):
        self.results = []
        self.classes = []
        self.functions = []
        self.imports = []
        self.importfroms = []
        self.variables = {}
        self.modules = {}
        self.kestrel_lctr = []
        self.class_index = -1
        self.function_index = -1

    # ---- entry points -------------------------------------------------------------------------

    @staticmethod
    def initialize():
        # Loaded up front so that completion finds them in sys.modules; outside Maya they
        # simply do not exist.
        for name in KestrelEditorParser._MAYA_MODULES:
            try:
                __import__(name)
            except Exception:
                pass
        KestrelEditorParser.initialized = True

    def parse_source(self, source, obj=None, keywords=False, builtins=False):
        # A request allocates many short-lived nodes; a collection of the whole heap (which holds
        # the cached blocks) triggered by them would cost a keystroke tens of milliseconds.
        collecting = gc.isenabled()
        gc.disable()
        try:
            return self._parse_source(source, obj, keywords, builtins)
        finally:
            if collecting:
                gc.enable()

    def _parse_source(self, source, obj, keywords, builtins):
        try:
            self.clear()
            try:
                self.parse(source)
            except Exception:
                self._parse_salvaged(source)
            self.process_parsed_data(obj)
            if not obj:
                if keywords:
                    self.results.extend(self.KEYWORDS)
                if builtins:
                    self.results.extend(self.BUILTINS)
            return self.sorted_results()
        except Exception:
            return []

    def parse_module(self, module):
        self.results.extend(self._module_members(module))
        return self.sorted_results()

    @staticmethod
    def syntax_check(source):
        try:
            KestrelEditorParser._ast_parse(source)
        except SyntaxError as error:
            try:
                line = error.lineno if error.lineno is not None else 0
                return [str(error).split(" (")[0], str(line)]
            except Exception:
                return []
        except Exception:
            return []
        return []

    @staticmethod
    def exec_statement(source):
        try:
            exec(source)
        except (Exception, SystemExit):
            return 0
        return 1

    # ---- parsing ------------------------------------------------------------------------------

    def parse(self, source):
        for statement in self._statements(source):
            self.visit(statement)

    def _parse_salvaged(self, source):
        # An unparseable buffer: first the lines that look like statements of their own, then
        # only the imports, so that names and modules stay known while the user types.
        self._salvaging = True
        try:
            self._salvage(source)
        finally:
            self._salvaging = False

    def _salvage(self, source):
        self.clear()
        lines = source.split("\n")
        kept = []
        for line in lines:
            text = line.strip()
            if self._NAME_START.match(text) and not text.endswith("."):
                kept.append(line)
        try:
            self.parse("\n".join(kept) + "\n")
            return
        except Exception:
            pass
        self.clear()
        imports = "\n".join(line for line in lines if line.startswith(("import", "from")))
        if imports != source:
            self.parse_source(imports)
        self.results = []

    @staticmethod
    def _ast_parse(source):
        # The user's code may hold invalid escapes and the like; their compile-time warnings
        # must not reach the output at every completion request.
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            return ast.parse(source)

    def _statements(self, source):
        if not self._use_cache:
            return self._ast_parse(source).body
        cache = KestrelEditorParser._chunk_cache
        chunks = self._split_top_level(source)
        missing = []
        seen = set()
        for chunk in chunks:
            if chunk not in cache and chunk not in seen:
                seen.add(chunk)
                missing.append(chunk)
        if missing and not self._parse_chunks(missing, cache):
            return self._salvage_chunks(chunks, cache)
        body = []
        for chunk in chunks:
            body.extend(cache[chunk])
        # Blocks of earlier buffers go, but not during the retries on a broken buffer: the next
        # request needs the blocks of every attempt again.
        if not self._salvaging and len(cache) > 3 * len(chunks) + 64:
            KestrelEditorParser._chunk_cache = dict((chunk, cache[chunk]) for chunk in chunks)
        return body

    def _salvage_chunks(self, chunks, cache):
        # Some block does not parse: the user is typing. The blocks that parse are kept as they
        # are and only the broken ones are retried on their own, so a broken line costs a parse
        # of its block rather than of the whole buffer, and the rest of the module stays known.
        body = []
        index = 0
        while index < len(chunks):
            chunk = chunks[index]
            if chunk in cache:
                body.extend(cache[chunk])
                index += 1
                continue
            # A block split inside a string or bracket parses together with what follows it.
            joined = None
            for end in range(index + 2, min(index + 4, len(chunks)) + 1):
                try:
                    joined = self._ast_parse("".join(chunks[index:end])).body
                except Exception:
                    continue
                index = end
                break
            if joined is not None:
                body.extend(joined)
                continue
            body.extend(self._repaired(chunk))
            index += 1
        if len(KestrelEditorParser._repair_cache) > 64:
            KestrelEditorParser._repair_cache = {}
        return body

    def _repaired(self, chunk):
        # The lines the parser stops at become "pass" (or an always-true branch for a header),
        # a few times over; then the old retries, within this block only.
        found = KestrelEditorParser._repair_cache.get(chunk)
        if found is not None:
            return found
        lines = chunk.split("\n")
        statements = None
        for _ in range(8):
            try:
                statements = self._ast_parse("\n".join(lines)).body
                break
            except SyntaxError as error:
                number = (error.lineno or 0) - 1
                misindented = isinstance(error, IndentationError)
            except Exception:
                break
            if not 0 <= number < len(lines):
                break
            line = lines[number]
            indentation = line[:len(line) - len(line.lstrip())]
            replacement = indentation + ("if True:" if line.rstrip().endswith(":") else "pass")
            if misindented or replacement == line:
                replacement = ""
            if replacement == line:
                break
            lines[number] = replacement
        if statements is None:
            kept = [line for line in lines
                    if self._NAME_START.match(line.strip()) and not line.strip().endswith(".")]
            try:
                statements = self._ast_parse("\n".join(kept) + "\n").body
            except Exception:
                imports = [line for line in lines if line.startswith(("import", "from"))]
                try:
                    statements = self._ast_parse("\n".join(imports) + "\n").body
                except Exception:
                    statements = []
        KestrelEditorParser._repair_cache[chunk] = statements
        return statements

    @classmethod
    def _split_top_level(cls, source):
        starts = [match.start() for match in cls._TOP_LEVEL_LINE.finditer(source)]
        if not starts or starts[0] != 0:
            starts.insert(0, 0)
        starts.append(len(source))
        chunks = []
        pending = ""
        for begin, end in zip(starts, starts[1:]):
            text = source[begin:end]
            if text.startswith("@"):
                pending += text  # a decorator belongs to what follows it
                continue
            chunks.append(pending + text)
            pending = ""
        if pending:
            chunks.append(pending)
        return chunks

    @classmethod
    def _parse_chunks(cls, chunks, cache):
        # Stores the statements of every block that parses and tells whether all did. When some
        # fail, the halves are tried on their own: the good blocks of a broken buffer are then
        # parsed once, not at every request.
        parsed = cls._parse_block_group(chunks)
        if parsed is not None:
            cache.update(parsed)
            return True
        if len(chunks) > 1:
            middle = len(chunks) // 2
            cls._parse_chunks(chunks[:middle], cache)
            cls._parse_chunks(chunks[middle:], cache)
        return False

    @classmethod
    def _parse_block_group(cls, chunks):
        # One parse for the blocks together; each statement then goes back to the block it
        # starts in. A block that does not begin with its own top-level statement was split
        # inside a string or bracket: nothing is returned then.
        try:
            body = cls._ast_parse("".join(chunks)).body
        except Exception:
            return None
        first_lines = []
        line = 1
        for chunk in chunks:
            first_lines.append(line)
            line += chunk.count("\n")
        groups = [[] for _ in chunks]
        index = 0
        for statement in body:
            start = statement.lineno
            for decorator in getattr(statement, "decorator_list", ()):
                start = min(start, decorator.lineno)
            while index + 1 < len(chunks) and start >= first_lines[index + 1]:
                index += 1
            groups[index].append((start, statement))
        parsed = {}
        for chunk, first_line, group in zip(chunks, first_lines, groups):
            if not group or group[0][0] != first_line or group[0][1].col_offset != 0:
                return None
            parsed[chunk] = [statement for _, statement in group]
        return parsed

    # ---- results ------------------------------------------------------------------------------

    def sorted_results(self):
        hidden = (self._DEF_LOCATOR, self._CLASS_LOCATOR, self._LOCATOR)
        names = set(name for name in self.results
                    if isinstance(name, str) and name and name not in hidden)
        key = KestrelEditorParser._sort_key
        public = sorted((name for name in names if not name.startswith("_")), key=key)
        private = sorted((name for name in names if name.startswith("_")), key=key)
        self.results = public + private
        return list(self.results)

    @staticmethod
    def _sort_key(name):
        return (name.lower(), name)

    def process_parsed_data(self, obj):
        if not obj:
            self.results.extend(parsed_class.name for parsed_class in self.classes)
            self.results.extend(function.name for function in self.functions)
            self.results.extend(self.imports)
            self.results.extend(self.variables)
            self.results.extend(name for _, name in self.importfroms)
            function = self._locator_function()
            if function is not None:
                self.results.extend(function.arguments)
        elif obj == "import" or obj.startswith("import "):
            self._process_import(obj[len("import"):].strip())
        else:
            module = self._bound_module(obj) is not None
            if (obj == "self" or obj.startswith("self.")) and self.kestrel_lctr:
                self._process_owner(obj, "self")
            elif (obj == "cls" or obj.startswith("cls.")) and self.kestrel_lctr:
                self._process_owner(obj, "cls")
            elif obj in self.variables:
                self._process_variable(obj, self.variables)
            elif self._class_variable(obj) is not None:
                parsed_class, name = self._class_variable(obj)
                self._process_variable(name, parsed_class.variables)
            elif module:
                self._process_module(obj)
            else:
                parsed_class = self._find_class(obj)
                if parsed_class is not None:
                    self.results.extend(self._class_members(parsed_class))
            if not self.results:
                self.results.extend(self._live_members(obj))
        if "__call__" in self.results:
            self.results = []  # a callable: what follows it is a call, not a member

    def _live_members(self, obj):
        # What the buffer does not tell may live in the interpreter: names the user's runs
        # left in __main__ complete with the members of the objects they hold, read without
        # running any of the user's code.
        if obj.startswith("import") or obj.split(".")[0] in self.modules:
            return []
        namespace = getattr(sys.modules.get("__main__"), "__dict__", {})
        parts = obj.split(".")
        if type(namespace) is not dict or parts[0] not in namespace:
            return []
        try:
            return self._members_at(namespace[parts[0]], parts[1:])
        except Exception:
            return []

    # Live lookups stop after this many names or this long: a huge __dict__ must not stall typing.
    _LIVE_NAME_LIMIT = 20000
    _LIVE_SECONDS = 0.05
    _UNKNOWN = object()
    # Values found in a class that stand for themselves; any other descriptor (a property, a
    # cached attribute, a slot) has a value only its code can give.
    _PLAIN_TYPES = (types.FunctionType, types.BuiltinFunctionType, types.MethodType, type,
                    types.ModuleType, staticmethod, classmethod, int, float, complex, str, bytes,
                    list, tuple, dict, set, frozenset, bool, type(None))
    _type_dict = type.__dict__["__dict__"].__get__
    _type_mro = type.__dict__["__mro__"].__get__

    # Descriptors of the interpreter's own types that only read a field (complex.real, a slot).
    _FIELD_DESCRIPTORS = (types.MemberDescriptorType, types.GetSetDescriptorType)
    _C_METHODS = (types.MethodDescriptorType, types.WrapperDescriptorType, types.ClassMethodDescriptorType)

    @classmethod
    def _static_walk(cls, value, names):
        for name in names:
            try:
                found = inspect.getattr_static(value, name)
            except AttributeError:
                return cls._UNKNOWN
            if isinstance(found, (staticmethod, classmethod)):
                found = found.__func__
            elif type(found) in cls._FIELD_DESCRIPTORS and cls._reads_a_field(found):
                try:
                    found = found.__get__(value, type(value))
                except Exception:
                    return cls._UNKNOWN  # an empty slot
            elif not (type(found) in cls._C_METHODS or cls._plain(found)):
                return cls._UNKNOWN
            value = found
        return value

    @staticmethod
    def _reads_a_field(descriptor):
        # A slot always; other getters only of builtin types: an extension's run its own code.
        owner = getattr(descriptor, "__objclass__", None)
        return type(descriptor) is types.MemberDescriptorType or (
            owner is not None and owner.__module__ == "builtins")

    @classmethod
    def _plain(cls, value):
        kind = type(value)
        if issubclass(kind, cls._PLAIN_TYPES):
            return True
        # Instances of user classes are plain unless their class makes them descriptors.
        return not any("__get__" in cls._type_dict(base) for base in cls._type_mro(kind))

    @classmethod
    def _static_members(cls, value):
        # dir() without __dir__: the instance's own __dict__, then the __dict__ of each class
        # of its type's MRO (a class's own MRO when the value is a class). __slots__ are in
        # the class dictionaries as descriptors.
        deadline = time.monotonic() + cls._LIVE_SECONDS
        kind = type(value)
        dictionaries = []
        if issubclass(kind, type):
            dictionaries.extend(cls._type_dict(base) for base in cls._type_mro(value))
        elif issubclass(kind, types.ModuleType):
            dictionaries.append(cls._instance_dict(value, kind) or {})  # as dir() lists a module
        else:
            own = cls._instance_dict(value, kind)
            if own is not None:
                dictionaries.append(own)
            dictionaries.extend(cls._type_dict(base) for base in cls._type_mro(kind))
        names = set()
        for dictionary in dictionaries:
            room = cls._LIVE_NAME_LIMIT - len(names)
            if room <= 0 or time.monotonic() > deadline:
                break
            names.update(key for key in itertools.islice(iter(dictionary), room) if type(key) is str)
        return list(names)

    @classmethod
    def _instance_dict(cls, value, kind):
        # Only the interpreter's own __dict__ slot: a class defining __dict__ itself would run code.
        for base in cls._type_mro(kind):
            slot = cls._type_dict(base).get("__dict__")
            if slot is not None:
                if type(slot) not in (types.GetSetDescriptorType, types.MemberDescriptorType):
                    return None
                own = slot.__get__(value, kind)
                return own if type(own) is dict else None
        return None

    def _locator_function(self):
        if len(self.kestrel_lctr) != 2:
            return None
        class_index, function_index = self.kestrel_lctr
        if function_index == -1:
            return None
        if class_index == -1:
            return self.functions[function_index]
        return self.classes[class_index].functions[function_index]

    def _process_owner(self, obj, owner):
        class_index, function_index = self.kestrel_lctr
        if class_index == -1 or function_index == -1:
            return
        parsed_class = self.classes[class_index]
        if owner not in parsed_class.functions[function_index].arguments:
            return
        attributes = parsed_class.self_variables if owner == "self" else parsed_class.cls_variables
        if obj == owner:
            self.results.extend(attributes)
            self.results.extend(parsed_class.variables)
            self.results.extend(parsed_class.parent_members)
            self.results.extend(function.name for function in parsed_class.functions)
            return
        for name, value in attributes.items():
            self.variables[owner + "." + name] = value
        if obj in self.variables:
            self._process_variable(obj, self.variables)
        else:
            name = obj[len(owner) + 1:]
            if name in parsed_class.variables:
                self._process_variable(name, parsed_class.variables)

    def _process_variable(self, name, variables):
        value = variables[name]
        seen = set([name])
        while value[1] is ast.Name and value[0] in variables and value[0] not in seen:
            name = value[0]
            seen.add(name)
            value = variables[name]
        data, kind = value
        found = []
        if kind in self._VALUE_KINDS:
            found = dir(data)
        elif kind is ast.Call or kind is ast.Attribute:
            parsed_class = self._find_class(data)
            if parsed_class is not None:
                found = self._class_members(parsed_class)
            else:
                found = self._module_members(self._map_module(data))
        if found:
            self.results.extend(found)
            return
        for candidate in (data if kind is ast.Name else None, name):
            if candidate and self._bound_module(candidate) is not None:
                self._process_module(candidate)
                return

    def _process_module(self, obj):
        self.results.extend(self._module_members(self._map_module(obj)))

    def _process_import(self, path):
        # Import statements complete with modules: top-level ones, or a package's members and
        # its submodules.
        if not path:
            self.results.extend(sys.builtin_module_names)
            self.results.extend(info[1] for info in pkgutil.iter_modules())
            return
        self.results.extend(self._module_members(path))
        locations = None
        loaded = sys.modules.get(path)
        if loaded is not None:
            locations = getattr(loaded, "__path__", None)
        else:
            parts = path.split(".")
            module_info, found = self._locate_path(parts)
            if module_info is not None and found == len(parts):
                locations = module_info.submodule_search_locations
        if locations is not None:
            self.results.extend(info[1] for info in pkgutil.iter_modules(list(locations)))

    def _class_variable(self, obj):
        owner, dot, name = obj.rpartition(".")
        if not dot:
            return None
        parsed_class = self._find_class(owner)
        if parsed_class is None or name not in parsed_class.variables:
            return None
        return parsed_class, name

    def _find_class(self, path):
        if not path:
            return None
        candidates = self.classes
        parsed_class = None
        for part in path.split("."):
            parsed_class = None
            for candidate in candidates:
                if candidate.name == part:
                    parsed_class = candidate
            if parsed_class is None:
                return None
            candidates = parsed_class.classes
        return parsed_class

    @staticmethod
    def _class_members(parsed_class):
        members = list(parsed_class.parent_members)
        members.extend(nested.name for nested in parsed_class.classes)
        members.extend(function.name for function in parsed_class.functions)
        members.extend(parsed_class.variables)
        members.extend(parsed_class.self_variables)
        return members

    def _bound_module(self, path):
        # The module path of `path` when some leading dotted part of it is an imported name.
        parts = path.split(".")
        for count in range(len(parts), 0, -1):
            module = self.modules.get(".".join(parts[:count]))
            if module is not None:
                return ".".join([module] + parts[count:])
        return None

    def _map_module(self, path):
        module = self._bound_module(path) if path else None
        return path if module is None else module

    # ---- modules ------------------------------------------------------------------------------

    def _module_members(self, module):
        if not module or module in KestrelEditorParser._modules_in_progress:
            return []
        KestrelEditorParser._modules_in_progress.add(module)
        try:
            return self._find_module_members(module)
        except Exception:
            return []
        finally:
            KestrelEditorParser._modules_in_progress.discard(module)

    def _find_module_members(self, module):
        if module == "object":
            return dir(object)
        loaded = sys.modules.get(module)
        if loaded is not None:
            return self._static_members(loaded)
        parts = module.split(".")
        for count in range(len(parts) - 1, 0, -1):
            base = sys.modules.get(".".join(parts[:count]))
            if base is not None:
                return self._members_at(base, parts[count:])
        if not all(part.isidentifier() for part in parts):
            return []
        module_info, found = self._locate_path(parts)
        if module_info is None:
            return []
        base = ".".join(parts[:found])
        rest = parts[found:]
        origin = module_info.origin or ""
        if isinstance(module_info.loader, zipimport.zipimporter):
            if not self._STDLIB_ZIP.search(module_info.loader.archive):
                return []
            return self._members_at(self._import(base), rest)
        if origin in ("built-in", "frozen") or origin.endswith(self._EXTENSION_SUFFIXES):
            return self._members_at(self._import(base), rest)
        if origin.endswith(tuple(importlib.machinery.SOURCE_SUFFIXES)) and os.path.isfile(origin):
            # Source modules are read rather than imported: completion must not run user code.
            with tokenize.open(origin) as handle:
                source = handle.read().replace("\r\n", "\n") + "\n"
            parser = KestrelEditorParser()
            parser._use_cache = False
            return parser.parse_source(source, rest[-1] if rest else None)
        return []

    @staticmethod
    def _locate_path(parts):
        # Finds the module for growing prefixes of the path without importing anything, and
        # stops at the first plain module (the rest are names inside it).
        module_info = None
        found = 0
        path = None
        for index in range(len(parts)):
            candidate = KestrelEditorParser._locate(".".join(parts[:index + 1]), path)
            if candidate is None:
                break
            module_info = candidate
            found = index + 1
            locations = candidate.submodule_search_locations
            if len(parts) == 1 or locations is None:
                break
            path = list(locations)
        return module_info, found

    @staticmethod
    def _locate(name, path):
        for finder in sys.meta_path:
            locate = getattr(finder, "find_spec", None)
            if locate is None:
                continue
            try:
                found = locate(name, path)
            except Exception:
                continue
            if found is not None:
                return found
        return None

    @staticmethod
    def _import(name):
        __import__(name)
        return sys.modules[name]

    @classmethod
    def _members_at(cls, value, names):
        # Members of a module's attribute, found without running its code.
        value = cls._static_walk(value, names)
        return [] if value is cls._UNKNOWN else cls._static_members(value)

    # ---- visitors -----------------------------------------------------------------------------

    # Visitor of each node class, looked up once (completion walks whole modules per request).
    _visitors = {}

    def visit(self, node):
        node_class = node.__class__
        visitor = KestrelEditorParser._visitors.get(node_class)
        if visitor is None:
            visitor = getattr(KestrelEditorParser, "visit_" + node_class.__name__,
                              KestrelEditorParser.generic_visit)
            KestrelEditorParser._visitors[node_class] = visitor
        return visitor(self, node)

    def generic_visit(self, node):
        for field in node._fields:
            value = getattr(node, field, None)
            if isinstance(value, list):
                for item in value:
                    if isinstance(item, self._BLOCK_NODES):
                        self.visit(item)

    def visit_FunctionDef(self, node):
        if self.function_index != -1:
            return  # one function level is all completion needs
        arguments = self._argument_names(node.args)
        decorators = [name for name in map(self._decorator_name, node.decorator_list) if name]
        function = KestrelEditorParser.ParsedFunction(node.name, arguments, decorators)
        if self.class_index != -1:
            parsed_class = self.classes[self.class_index]
            if self._LOCATOR in arguments:
                # A method header is being typed: offer what can be overridden.
                self.results.extend(parsed_class.parent_members)
                self.results.extend(method.name for method in parsed_class.functions)
                self.results.extend(["self", "cls", "__init__"])
            parsed_class.append_function(function)
            self.function_index = len(parsed_class.functions) - 1
        elif self.kestrel_lctr == [-1, -1]:
            return  # defined after the cursor at module level
        else:
            self.functions.append(function)
            self.function_index = len(self.functions) - 1
        try:
            for statement in node.body:
                self.visit(statement)
        finally:
            self.function_index = -1

    visit_AsyncFunctionDef = visit_FunctionDef

    def visit_ClassDef(self, node):
        parsed_class = KestrelEditorParser.ParsedClass(node.name)
        for base in node.bases:
            self._inherit(parsed_class, base)
        if self.class_index != -1:
            self.classes[self.class_index].classes.append(parsed_class)
            return
        self.classes.append(parsed_class)
        outer_function = self.function_index
        self.class_index = len(self.classes) - 1
        self.function_index = -1
        try:
            for statement in node.body:
                self.visit(statement)
        finally:
            self.class_index = -1
            self.function_index = outer_function

    def _inherit(self, parsed_class, base):
        if isinstance(base, ast.Name):
            name = base.id
        elif isinstance(base, ast.Attribute):
            name = self.expand_attribute(base)
        else:
            return
        if not name:
            return
        if name == self._LOCATOR:
            self.results.append("object")  # a class header is being typed
            return
        module = self._bound_module(name)
        if module is None and name == "object":
            module = "object"
        if module is not None:
            parsed_class.parent_members.extend(self._module_members(module))
            return
        earlier = self._find_class(name)
        if earlier is not None:
            parsed_class.parent_members.extend(self._class_members(earlier))

    def visit_Import(self, node):
        if self.class_index != -1 or self.function_index != -1:
            return
        for alias in node.names:
            bound = alias.asname or alias.name
            self.imports.append(bound)
            self.modules[bound] = alias.name

    def visit_ImportFrom(self, node):
        if self.class_index != -1 or self.function_index != -1:
            return
        module = "." * (node.level or 0) + (node.module or "")
        separator = "" if module.endswith(".") else "."
        for alias in node.names:
            if alias.name == "*":
                continue
            bound = alias.asname or alias.name
            self.importfroms.append((module, bound))
            self.modules[bound] = module + separator + alias.name

    def visit_Assign(self, node):
        self._assign(node.targets, node.value)

    def visit_AnnAssign(self, node):
        if node.value is not None:
            self._assign([node.target], node.value)

    def _assign(self, targets, value_node):
        parsed_class = self.classes[self.class_index] if self.class_index != -1 else None
        function = self._current_function()
        empty = {}
        value = self.resolve_variable(
            self._typed_value(value_node),
            self.variables,
            parsed_class.variables if parsed_class else empty,
            function.variables if function else empty,
            parsed_class.self_variables if parsed_class else empty,
            parsed_class.cls_variables if parsed_class else empty)
        for target in targets:
            if isinstance(target, ast.Name):
                if target.id == self._LOCATOR:
                    self._found_locator()
                else:
                    self._store_name(target.id, value)
            elif isinstance(target, (ast.Tuple, ast.List)):
                for element in target.elts:
                    if isinstance(element, ast.Starred):
                        element = element.value
                    if isinstance(element, ast.Name):
                        self._store_name(element.id, [None, None])
            elif (isinstance(target, ast.Attribute) and isinstance(target.value, ast.Name)
                  and parsed_class is not None and function is not None):
                owner = target.value.id
                if owner == "self" and "self" in function.arguments:
                    parsed_class.append_self_variable(target.attr, value)
                elif owner == "cls" and "cls" in function.arguments:
                    parsed_class.append_cls_variable(target.attr, value)

    def _store_name(self, name, value):
        if self.class_index != -1:
            parsed_class = self.classes[self.class_index]
            if self.function_index != -1:
                parsed_class.functions[self.function_index].append_variable(name, value)
            else:
                parsed_class.append_variable(name, [None, None])
        elif self.function_index != -1:
            self.functions[self.function_index].append_variable(name, value)
        elif not self.kestrel_lctr:
            # Module-level names bound after the cursor do not exist yet.
            self._store(self.variables, name, value)

    def visit_If(self, node):
        test = node.test
        if self._is_locator(test) or (isinstance(test, ast.Compare)
                                      and self._is_locator(test.left)):
            self._found_locator()
        self.generic_visit(node)

    def visit_While(self, node):
        if self._is_locator(node.test):
            self._found_locator()
        self.generic_visit(node)

    def visit_For(self, node):
        if not self.kestrel_lctr and isinstance(node.target, ast.Name):
            function = self._current_function()
            if function is not None:
                function.append_variable(node.target.id, [None, None])
            elif self.class_index == -1:
                self._store(self.variables, node.target.id, [None, None])
        self.generic_visit(node)

    visit_AsyncFor = visit_For

    def _found_locator(self):
        self.kestrel_lctr = [self.class_index, self.function_index]
        function = self._current_function()
        if function is not None:
            self.variables.update(function.variables)

    def _current_function(self):
        if self.function_index == -1:
            return None
        if self.class_index != -1:
            return self.classes[self.class_index].functions[self.function_index]
        return self.functions[self.function_index]

    def _is_locator(self, node):
        return isinstance(node, ast.Name) and node.id == self._LOCATOR

    # ---- values -------------------------------------------------------------------------------

    @staticmethod
    def _store(variables, name, value):
        # A name bound to values of two kinds has no dependable type.
        old = variables.get(name)
        if old is not None and old[1] is not value[1]:
            value = [None, None]
        variables[name] = value

    def _typed_value(self, node):
        if isinstance(node, ast.Name):
            return [node.id, ast.Name]
        if isinstance(node, ast.Attribute):
            path = self.expand_attribute(node)
            return [path, ast.Attribute] if path else [None, None]
        if isinstance(node, ast.Call):
            function = node.func
            if isinstance(function, ast.Name):
                path = function.id
            elif isinstance(function, ast.Attribute):
                path = self.expand_attribute(function)
            else:
                path = None
            return [path, ast.Call] if path else [None, None]
        if isinstance(node, (ast.List, ast.ListComp)):
            return [list, ast.List]
        if isinstance(node, ast.Dict):
            return [dict, ast.Dict]
        if isinstance(node, ast.Tuple):
            return [tuple, ast.Tuple]
        if isinstance(node, ast.JoinedStr):
            return [str, self._Str]
        return self._literal_value(node)

    def _literal_value(self, node):
        # Literals are one node class from Python 3.8 on and several before; the class name
        # tells them apart without touching the old, deprecated names.
        node_class = node.__class__.__name__
        if node_class in ("Constant", "NameConstant"):
            value = node.value
        elif node_class in ("Str", "Bytes"):
            value = node.s
        elif node_class == "Num":
            value = node.n
        else:
            return [None, None]
        if value is None or isinstance(value, bool):
            return [repr(value), ast.Name]  # names, as they once were
        if isinstance(value, (str, bytes)):
            return [type(value), self._Str]
        if isinstance(value, (int, float, complex)):
            return [value, self._Num]
        return [None, None]

    def resolve_variable(self, variable, global_vars, class_vars, local_vars, self_vars,
                         cls_vars):
        seen = set()
        while True:
            name, kind = variable
            if kind is ast.Name:
                key, tables = name, (local_vars, class_vars, global_vars)
            elif kind is ast.Attribute and name.startswith("self."):
                key, tables = name[len("self."):], (self_vars, class_vars)
            elif kind is ast.Attribute and name.startswith("cls."):
                key, tables = name[len("cls."):], (cls_vars, class_vars)
            else:
                return variable
            if name in seen:
                return variable
            seen.add(name)
            found = None
            for table in tables:
                if key in table:
                    found = table[key]
                    break
            if found is None or found == variable:
                return variable
            variable = found

    @staticmethod
    def expand_attribute(node):
        parts = []
        while isinstance(node, ast.Attribute):
            parts.append(node.attr)
            node = node.value
        if not isinstance(node, ast.Name):
            return None
        parts.append(node.id)
        return ".".join(reversed(parts))

    def _decorator_name(self, node):
        if isinstance(node, ast.Call):
            node = node.func
        if isinstance(node, ast.Name):
            return node.id
        if isinstance(node, ast.Attribute):
            return self.expand_attribute(node)
        return None

    @staticmethod
    def _argument_names(arguments):
        names = [argument.arg for argument in getattr(arguments, "posonlyargs", [])]
        names.extend(argument.arg for argument in arguments.args)
        if arguments.vararg is not None:
            names.append(arguments.vararg.arg)
        names.extend(argument.arg for argument in arguments.kwonlyargs)
        if arguments.kwarg is not None:
            names.append(arguments.kwarg.arg)
        return names

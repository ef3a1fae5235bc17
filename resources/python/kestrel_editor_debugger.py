"""The editor's Python debugger, run inside the host's interpreter (Python 3.7 and later).

The editor starts a run with `KestrelEditorDebugger.run(...)`. Frames whose code holds a
breakpoint, and the frames a step needs, are traced; everything else runs untraced. Where the
interpreter has `sys.monitoring` (3.12 and later) it is used, with events switched on only for
the code objects that can stop. Elsewhere a trace function set with `sys.settrace` slows every
frame down, so it is set only while it is needed: the run's code and the files it imports that
hold breakpoints are compiled with a call at the start of each function (or class or module
body) holding one, and around each of its yields and awaits, which switches tracing on for that frame; it goes off again when no such
frame is left and no step is under way. At a stop the debugger calls `pause_hook` with a JSON description and waits for
the action it returns; the editor answers questions about the paused frames meanwhile.
"""

import json
import os
import sys
import threading
import types


class KestrelEditorDebuggerStop(BaseException):
    """Raised in the paused frame when the user stops: `finally` blocks and `with` exits run."""


class KestrelEditorDebugger(object):
    VERSION = '1.0.0'
    # The editor installs it: called with a JSON text, returns the action.
    pause_hook = None
    pause_on_exceptions = True
    REPR_LENGTH = 200
    REPR_SECONDS = 0.25
    MAX_CHILDREN = 300

    _breakpoints = {}    # canonical file -> {line: {'enabled', 'condition', 'hits', 'count'}}
    _canon_cache = {}
    _code_lines = {}     # code object -> set of its own line numbers
    _running = False
    _mode = None         # None (run), 'into', 'over', 'out'
    _step_frame = None
    _cursor = None       # (file, line) of Run to Cursor
    _frames = []         # paused stack, innermost first
    _refs = {}
    _next_ref = 1
    _use_monitoring = False
    _monitored = set()
    _global_mode = False  # without sys.monitoring: every call is looked at (slow, always right)
    _entered = set()      # ids of the frames that switched tracing on for themselves

    # ---- breakpoints ------------------------------------------------------------------------

    @classmethod
    def canonical(cls, path):
        known = cls._canon_cache.get(path)
        if known is None:
            if path.startswith('<'):
                known = path
            else:
                try:
                    known = os.path.normcase(os.path.realpath(path))
                except Exception:
                    known = path
            cls._canon_cache[path] = known
        return known

    @classmethod
    def set_breakpoints(cls, text):
        """[[path, line, enabled, condition, count], ...]; hit counts restart."""
        table = {}
        try:
            for path, line, enabled, condition, count in json.loads(text):
                if enabled:
                    table.setdefault(cls.canonical(path), {})[int(line)] = {
                        'condition': condition or '', 'count': int(count or 0), 'hits': 0}
        except Exception:
            return 0
        if cls._running and not cls._use_monitoring:
            # Code compiled before cannot call in for a line it had no breakpoint on: from now
            # on every call is looked at.
            old = cls._breakpoints
            if any(line not in old.get(path, {}) for path, lines in table.items() for line in lines):
                cls._global_mode = True
        cls._breakpoints = table
        if cls._running and cls._use_monitoring:
            cls._monitor_refresh()
        return 1

    @classmethod
    def _lines_of(cls, code):
        lines = cls._code_lines.get(code)
        if lines is None:
            import dis
            lines = set(line for _, line in dis.findlinestarts(code) if line is not None)
            cls._code_lines[code] = lines
        return lines

    @classmethod
    def _code_can_stop(cls, code):
        table = cls._breakpoints.get(cls.canonical(code.co_filename))
        if not table and cls._cursor is None:
            return False
        lines = cls._lines_of(code)
        if table and not lines.isdisjoint(table):
            return True
        return cls._cursor is not None and cls._cursor[0] == cls.canonical(code.co_filename) \
            and cls._cursor[1] in lines

    @classmethod
    def _breakpoint_hit(cls, frame):
        table = cls._breakpoints.get(cls.canonical(frame.f_code.co_filename))
        point = table.get(frame.f_lineno) if table else None
        if point is None:
            return False
        if point['condition']:
            try:
                if not eval(point['condition'], frame.f_globals, frame.f_locals):
                    return False
            except Exception:
                return True  # a broken condition stops, so the user sees it
        point['hits'] += 1
        return point['hits'] >= point['count']

    # ---- running ------------------------------------------------------------------------------

    @classmethod
    def run(cls, source, filename, first_line=1, pause_on_exceptions=True):
        """Runs `source` in __main__ as if it stood at `first_line` of `filename`, under the
        debugger. Exceptions leave as from an ordinary run, after the exception pause."""
        cls.pause_on_exceptions = bool(pause_on_exceptions)
        namespace = sys.modules['__main__'].__dict__
        cls._mode = None
        cls._step_frame = None
        cls._cursor = None
        cls._running = True
        try:
            cls._start_tracing()
            code = cls._compile('\n' * (max(1, first_line) - 1) + source, filename)
            try:
                exec(code, namespace)
            except KestrelEditorDebuggerStop:
                cls._stop_tracing()
                cls._notify('stopped')
            except BaseException as error:
                cls._stop_tracing()
                cls._drop_own_frames(error)
                # Esc ends the run; it is not an error to look at.
                if cls.pause_on_exceptions and cls._running and not isinstance(error, KeyboardInterrupt):
                    cls._exception_pause(error)
                raise
        finally:
            cls._stop_tracing()
            cls._running = False
            cls._frames = []
            cls._refs = {}
            cls._notify('ended')

    @classmethod
    def _drop_own_frames(cls, error):
        """An interrupt raised by the debugger at a stop is reported at the user's line, not in
        the debugger's own frames under it."""
        tb = error.__traceback__
        last = None
        while tb is not None:
            if not cls._own_frame(tb.tb_frame):
                last = tb
            tb = tb.tb_next
        if last is not None and last.tb_next is not None:
            last.tb_next = None

    @classmethod
    def _notify(cls, event):
        hook = cls.pause_hook
        if hook is not None:
            try:
                hook(json.dumps({'event': event}))
            except Exception:
                pass

    @classmethod
    def _start_tracing(cls):
        monitoring = getattr(sys, 'monitoring', None)
        cls._use_monitoring = False
        if monitoring is not None:
            try:
                cls._monitor_start(monitoring)
                cls._use_monitoring = True
                return
            except Exception:
                pass
        cls._entered = set()
        # A file with breakpoints that is imported already runs code compiled without the calls.
        cls._global_mode = any(cls.canonical(getattr(module, '__file__', None) or '<none>') in cls._breakpoints
                               for module in list(sys.modules.values()))
        import builtins
        builtins.__ke2_trace_here__ = cls._trace_here
        builtins.__ke2_trace_resumed__ = cls._trace_resumed
        sys.meta_path.insert(0, _KestrelEditorFinder)
        if cls._global_mode:
            sys.settrace(cls._global_trace)

    @classmethod
    def _stop_tracing(cls):
        if cls._use_monitoring:
            cls._monitor_stop()
            return
        sys.settrace(None)
        frame = sys._getframe()
        while frame is not None:
            frame.f_trace = None
            frame = frame.f_back
        cls._entered = set()
        # The call stays in builtins: functions compiled with it outlive the run and call it
        # whenever they run again, when it does nothing.
        while _KestrelEditorFinder in sys.meta_path:
            sys.meta_path.remove(_KestrelEditorFinder)

    # ---- without sys.monitoring: code that can stop calls in to be traced ----------------------

    @classmethod
    def _compile(cls, source, filename):
        """Compiles like compile(); with breakpoints in the file (and no sys.monitoring), each
        innermost function, class or module body holding one starts with a call that has its
        frame traced."""
        table = cls._breakpoints.get(cls.canonical(filename))
        if not table or cls._use_monitoring:
            return compile(source, filename, 'exec')
        import ast
        tree = ast.parse(source, filename)
        scopes = set()
        for line in table:
            scope = tree
            found = True
            while found:
                found = False
                for node in ast.walk(scope):
                    if node is not scope and isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef,
                                                               ast.ClassDef)) and node.body:
                        first = min(n.lineno for stmt in node.body for n in ast.walk(stmt)
                                    if hasattr(n, 'lineno'))
                        last = max(n.lineno for n in ast.walk(node) if hasattr(n, 'lineno'))
                        if first <= line <= last:
                            scope = node
                            found = True
                            break
            scopes.add(scope)
        for scope in scopes:
            body = scope.body
            at = 0
            # After a docstring (it must stay the first statement) and `from __future__` imports.
            while at < len(body) and (
                    at == 0 and isinstance(body[0], ast.Expr)
                    and isinstance(getattr(body[0], 'value', None), ast.Str if sys.version_info < (3, 8)
                                   else ast.Constant)
                    and isinstance(getattr(body[0].value, 'value', getattr(body[0].value, 's', None)), str)
                    or isinstance(body[at], ast.ImportFrom) and body[at].module == '__future__'):
                at += 1
            if at >= len(body):
                continue
            call = ast.Expr(value=ast.Call(func=ast.Name(id='__ke2_trace_here__', ctx=ast.Load()),
                                           args=[], keywords=[]))
            body.insert(at, ast.fix_missing_locations(ast.copy_location(call, body[at])))
            if isinstance(scope, (ast.FunctionDef, ast.AsyncFunctionDef)):
                _KestrelEditorResumeCalls().visit_body(scope)
        return compile(tree, filename, 'exec')

    @classmethod
    def _trace_here(cls):
        """The first call of a body that holds a breakpoint: its frame is traced from here on."""
        if not cls._running or cls._use_monitoring:
            return
        frame = sys._getframe(1)
        cls._entered.add(id(frame))
        # A frame traced already (tracing was on when it started) has had this line's event.
        traced = frame.f_trace is not None
        if sys.gettrace() is None:
            sys.settrace(cls._global_trace)
        cls._trace_frame(frame)
        if traced:
            return
        # The rest of this line gives no line event: its breakpoint is looked at now.
        reason = cls._should_stop(frame)
        if reason is not None:
            sys.settrace(None)
            try:
                cls._pause(frame, reason)
            finally:
                if cls._running:
                    sys.settrace(cls._global_trace)

    @classmethod
    def _trace_resumed(cls, value):
        """Wraps each yield and await of a body that holds a breakpoint: a generator or coroutine
        left untraced while it was suspended is traced again from where it resumes."""
        if cls._running and not cls._use_monitoring:
            frame = sys._getframe(1)
            cls._entered.add(id(frame))
            if sys.gettrace() is None:
                sys.settrace(cls._global_trace)
            cls._trace_frame(frame)
        return value

    @classmethod
    def _untrace_if_idle(cls):
        if not cls._use_monitoring and not cls._entered and cls._mode is None and cls._cursor is None \
                and not cls._global_mode:
            sys.settrace(None)

    _own = None

    @classmethod
    def _own_frame(cls, frame):
        """The debugger's own frames and the host's runner: never stopped in, never listed."""
        own = cls._own
        if own is None:
            own = set()
            for owner in (cls, _PropertyPlaceholder, _KestrelEditorFinder, _KestrelEditorLoader):
                for member in vars(owner).values():
                    code = getattr(getattr(member, '__func__', member), '__code__', None)
                    if code is not None:
                        own.add(code)
                        own.update(c for c in code.co_consts if isinstance(c, types.CodeType))
            cls._own = own
        return frame.f_code in own or frame.f_code.co_filename == '<ke2host>'

    @staticmethod
    def _steppable(frame):
        """Step Into stops only in code that has a file to show."""
        return not frame.f_code.co_filename.startswith('<')

    # ---- the decision, shared by both tracing mechanisms -----------------------------------------

    @classmethod
    def _should_stop(cls, frame):
        """The reason to pause at `frame`'s current line, or None."""
        if cls._own_frame(frame):
            return None
        if cls._breakpoint_hit(frame):
            return 'breakpoint'
        mode = cls._mode
        if mode == 'into' and cls._steppable(frame):
            return 'step'
        if mode == 'over' and frame is cls._step_frame:
            return 'step'
        cursor = cls._cursor
        if cursor is not None and frame.f_lineno == cursor[1] \
                and cls.canonical(frame.f_code.co_filename) == cursor[0]:
            return 'cursor'
        return None

    @classmethod
    def _returning(cls, frame):
        """`frame` returns: a step over or out goes on in its caller."""
        if cls._mode in ('over', 'out') and frame is cls._step_frame:
            caller = frame.f_back
            while caller is not None and cls._own_frame(caller):
                caller = caller.f_back
            cls._step_frame = caller
            cls._mode = 'over'
            if caller is not None:
                cls._trace_frame(caller)

    @classmethod
    def _pause(cls, frame, reason, exception=None):
        # The run's frames, up to the debugger's own run() that started them.
        stack = []
        current = frame
        while current is not None and not cls._own_frame(current):
            stack.append(current)
            current = current.f_back
        cls._frames = stack
        cls._refs = {}
        info = {
            'event': 'paused', 'reason': reason,
            'frames': [{'name': f.f_code.co_name, 'file': f.f_code.co_filename,
                        'line': f.f_lineno} for f in stack],
        }
        if exception is not None:
            info['exception'] = cls._bounded_repr_exception(exception)
        hook = cls.pause_hook
        action = 'continue'
        if hook is not None:
            try:
                action = str(hook(json.dumps(info)))
            except KeyboardInterrupt:
                raise
            except Exception:
                action = 'continue'
        cls._frames = []
        cls._refs = {}
        cls._resume(frame, action)

    @classmethod
    def _resume(cls, frame, action):
        parts = action.split(' ', 2)
        cls._cursor = None
        cls._mode = None
        cls._step_frame = None
        if parts[0] == 'stop':
            cls._running = False
            raise KestrelEditorDebuggerStop()
        if parts[0] == 'interrupt':
            # Esc while paused: the run ends as an interrupted one does, reported as such.
            cls._running = False
            raise KeyboardInterrupt()
        if parts[0] in ('into', 'over', 'out'):
            cls._mode = parts[0]
            cls._step_frame = frame
        elif parts[0] == 'cursor' and len(parts) == 3:
            try:
                cls._cursor = (cls.canonical(parts[2]), int(parts[1]))
            except ValueError:
                cls._cursor = None
        if cls._use_monitoring:
            cls._monitor_refresh()
        elif cls._mode is not None or cls._cursor is not None or cls._global_mode:
            if sys.gettrace() is None:
                sys.settrace(cls._global_trace)
            if cls._mode is not None:
                cls._trace_frame(frame)
        else:
            cls._untrace_if_idle()

    @classmethod
    def _exception_pause(cls, error):
        tb = error.__traceback__
        last = None
        while tb is not None:
            if not cls._own_frame(tb.tb_frame):
                last = tb
            tb = tb.tb_next
        if last is None:
            return
        frame = last.tb_frame
        stack = []
        # The frames of the traceback still hold their locals; the caller last.
        tb = error.__traceback__
        while tb is not None:
            if not cls._own_frame(tb.tb_frame):
                stack.append(tb)
            tb = tb.tb_next
        stack.reverse()
        cls._frames = [t.tb_frame for t in stack]
        cls._refs = {}
        info = {
            'event': 'paused', 'reason': 'exception',
            'exception': cls._bounded_repr_exception(error),
            'frames': [{'name': t.tb_frame.f_code.co_name, 'file': t.tb_frame.f_code.co_filename,
                        'line': t.tb_lineno} for t in stack],
        }
        del frame
        hook = cls.pause_hook
        if hook is not None:
            try:
                hook(json.dumps(info))
            except Exception:
                pass
        cls._frames = []
        cls._refs = {}

    # ---- sys.settrace: only frames whose code can stop get a local trace function ------------

    @classmethod
    def _global_trace(cls, frame, event, arg):
        if event != 'call':
            return None
        if cls._mode == 'into' and not cls._own_frame(frame):
            return cls._local_trace
        if cls._code_can_stop(frame.f_code):
            return cls._local_trace
        return None

    @classmethod
    def _local_trace(cls, frame, event, arg):
        if event == 'line':
            reason = cls._should_stop(frame)
            if reason is not None:
                cls._pause(frame, reason)
        elif event == 'return':
            cls._returning(frame)
            if id(frame) in cls._entered:
                cls._entered.discard(id(frame))
                cls._untrace_if_idle()
        return cls._local_trace

    @classmethod
    def _trace_frame(cls, frame):
        if cls._use_monitoring:
            cls._monitor_code(frame.f_code)
            sys.monitoring.restart_events()
        else:
            frame.f_trace = cls._local_trace
            if hasattr(frame, 'f_trace_lines'):
                frame.f_trace_lines = True

    # ---- sys.monitoring (3.12+): events only in the code objects that can stop -----------------

    @classmethod
    def _monitor_start(cls, monitoring):
        tool = monitoring.DEBUGGER_ID
        if monitoring.get_tool(tool) not in (None, 'kestrel-editor'):
            raise RuntimeError('the debugger tool id is taken')
        if monitoring.get_tool(tool) is None:
            monitoring.use_tool_id(tool, 'kestrel-editor')
        events = monitoring.events
        monitoring.register_callback(tool, events.PY_START, cls._monitor_py_start)
        # A generator or coroutine resumed: Step Into enters it as it enters a call.
        monitoring.register_callback(tool, events.PY_RESUME, cls._monitor_py_start)
        monitoring.register_callback(tool, events.LINE, cls._monitor_line)
        monitoring.register_callback(tool, events.PY_RETURN, cls._monitor_py_return)
        monitoring.register_callback(tool, events.PY_YIELD, cls._monitor_py_return)
        cls._monitored = set()
        monitoring.set_events(tool, events.PY_START | events.PY_RESUME)
        monitoring.restart_events()

    @classmethod
    def _monitor_stop(cls):
        monitoring = sys.monitoring
        tool = monitoring.DEBUGGER_ID
        try:
            monitoring.set_events(tool, 0)
            for code in cls._monitored:
                monitoring.set_local_events(tool, code, 0)
            cls._monitored = set()
            for event in (monitoring.events.PY_START, monitoring.events.PY_RESUME, monitoring.events.LINE,
                          monitoring.events.PY_RETURN, monitoring.events.PY_YIELD):
                monitoring.register_callback(tool, event, None)
            monitoring.free_tool_id(tool)
        except Exception:
            pass

    @classmethod
    def _monitor_code(cls, code):
        monitoring = sys.monitoring
        events = monitoring.events
        monitoring.set_local_events(monitoring.DEBUGGER_ID, code,
                                    events.LINE | events.PY_RETURN | events.PY_YIELD)
        cls._monitored.add(code)

    @classmethod
    def _monitor_refresh(cls):
        """Breakpoints or the step changed: code switched off before may be needed again."""
        monitoring = sys.monitoring
        keep = set()
        for code in cls._monitored:
            if cls._code_can_stop(code):
                keep.add(code)
            else:
                monitoring.set_local_events(monitoring.DEBUGGER_ID, code, 0)
        cls._monitored = keep
        if cls._mode is not None:
            frame = cls._step_frame
            if frame is not None:
                cls._monitor_code(frame.f_code)
        monitoring.restart_events()

    @classmethod
    def _monitor_py_start(cls, code, offset):
        if cls._mode == 'into' or cls._code_can_stop(code):
            cls._monitor_code(code)
            return None
        return sys.monitoring.DISABLE

    @classmethod
    def _monitor_line(cls, code, line):
        frame = sys._getframe(1)
        reason = cls._should_stop(frame)
        if reason is not None:
            cls._pause(frame, reason)
            return None
        if cls._mode is None and cls._cursor is None:
            table = cls._breakpoints.get(cls.canonical(code.co_filename))
            if not table or line not in table:
                return sys.monitoring.DISABLE
        return None

    @classmethod
    def _monitor_py_return(cls, code, offset, value):
        cls._returning(sys._getframe(1))
        return None

    # ---- inspection while paused ---------------------------------------------------------------

    @classmethod
    def _frame(cls, index):
        frames = cls._frames
        return frames[index] if 0 <= index < len(frames) else None

    @classmethod
    def variables(cls, frame_index, ref):
        """JSON [[name, type, value, child ref (0: none)], ...] of a frame's 'locals' or
        'globals', or of the object behind an earlier child ref."""
        try:
            if ref in ('locals', 'globals'):
                frame = cls._frame(int(frame_index))
                if frame is None:
                    return '[]'
                scope = frame.f_locals if ref == 'locals' else frame.f_globals
                hide = scope is frame.f_globals
                items = [(name, scope[name]) for name in sorted(scope, key=str)
                         if not (hide and cls._hidden_global(name))]
            else:
                items = cls._children(cls._refs[int(ref)])
            rows = []
            for name, value in items[:cls.MAX_CHILDREN]:
                rows.append([str(name), type(value).__name__, cls.bounded_repr(value),
                             cls._ref_for(value)])
            if len(items) > cls.MAX_CHILDREN:
                rows.append(['...', '', '%d more' % (len(items) - cls.MAX_CHILDREN), 0])
            return json.dumps(rows)
        except Exception:
            return '[]'

    @staticmethod
    def _hidden_global(name):
        # Dunder names and the editor's own helpers that live in __main__ beside the user's.
        return name.startswith('__') and name.endswith('__') \
            or name.startswith(('KestrelEditor', '_KestrelEditor')) or name == '_PropertyPlaceholder'

    @classmethod
    def _ref_for(cls, value):
        if isinstance(value, (type(None), bool, int, float, complex, str, bytes)):
            return 0
        if isinstance(value, (list, tuple, dict, set, frozenset)) and not value:
            return 0
        ref = cls._next_ref
        cls._next_ref += 1
        cls._refs[ref] = value
        return ref

    @classmethod
    def _children(cls, value):
        """Members listed without calling anything the object defines: no property getter,
        no __getattr__, no __dir__."""
        if isinstance(value, dict):
            return [(cls.bounded_repr(k), v) for k, v in list(value.items())[:cls.MAX_CHILDREN + 1]]
        if isinstance(value, (list, tuple)):
            return [('[%d]' % i, v) for i, v in enumerate(value[:cls.MAX_CHILDREN + 1])]
        if isinstance(value, (set, frozenset)):
            return [('', v) for v in list(value)[:cls.MAX_CHILDREN + 1]]
        members = []
        try:
            own = object.__getattribute__(value, '__dict__')
        except Exception:
            own = {}
        if isinstance(own, (dict, types.MappingProxyType)):
            members.extend((str(k), v) for k, v in own.items())
        for klass in type.__getattribute__(type(value), '__mro__'):
            for name in klass.__dict__.get('__slots__', ()) if isinstance(
                    klass.__dict__.get('__slots__', ()), (tuple, list)) else ():
                descriptor = klass.__dict__.get(name)
                if name in ('__dict__', '__weakref__'):
                    continue
                if descriptor is not None and hasattr(descriptor, '__get__'):
                    try:
                        members.append((name, descriptor.__get__(value, klass)))
                    except Exception:
                        pass
        if not isinstance(value, type):
            for klass in type.__getattribute__(type(value), '__mro__'):
                for name, member in klass.__dict__.items():
                    if isinstance(member, property) and name not in dict(members):
                        members.append((name, _PropertyPlaceholder()))
        return sorted(members, key=lambda item: item[0])

    @classmethod
    def bounded_repr(cls, value):
        """repr cut to REPR_LENGTH characters; a __repr__ that runs longer than REPR_SECONDS
        is interrupted."""
        if isinstance(value, _PropertyPlaceholder):
            return '<property: not read>'
        limit = cls.REPR_LENGTH
        if isinstance(value, str) and len(value) > limit:
            return repr(value[:limit]) + '...'
        if isinstance(value, (bytes, bytearray)) and len(value) > limit:
            return repr(value[:limit]) + '...'
        if isinstance(value, (list, tuple, set, frozenset, dict)) and len(value) > 50:
            text = '%s of %d items' % (type(value).__name__, len(value))
            return text
        plain = (type(None), bool, int, float, complex, str, bytes, bytearray)
        if isinstance(value, plain) or not isinstance(value, (list, tuple, set, frozenset, dict)) \
                and not isinstance(getattr(type(value), '__repr__', None), types.FunctionType):
            try:
                text = repr(value)
            except Exception as error:
                text = '<%s object: repr failed: %s>' % (type(value).__name__, type(error).__name__)
        else:
            text = cls._guarded(repr, value)
        if len(text) > limit:
            text = text[:limit] + '...'
        return text

    @classmethod
    def _bounded_repr_exception(cls, error):
        text = cls._guarded(str, error)
        if len(text) > cls.REPR_LENGTH:
            text = text[:cls.REPR_LENGTH] + '...'
        return '%s: %s' % (type(error).__name__, text) if text else type(error).__name__

    @classmethod
    def _guarded(cls, function, value):
        """Calls function(value), interrupted after REPR_SECONDS; any failure becomes text."""
        state = {'active': True}
        lock = threading.Lock()
        main = threading.current_thread() is threading.main_thread()

        def expire():
            with lock:
                if state['active']:
                    state['expired'] = True
                    import _thread
                    _thread.interrupt_main()

        timer = threading.Timer(cls.REPR_SECONDS, expire) if main else None
        try:
            if timer is not None:
                timer.daemon = True
                timer.start()
            try:
                text = function(value)
                if not isinstance(text, str):
                    text = '<%s object>' % type(value).__name__
            finally:
                with lock:
                    state['active'] = False
                if timer is not None:
                    timer.cancel()
            return text
        except KeyboardInterrupt:
            if state.get('expired'):
                return '<%s object: repr took too long>' % type(value).__name__
            raise
        except Exception as error:
            return '<%s object: repr failed: %s>' % (type(value).__name__, type(error).__name__)

    @classmethod
    def evaluate(cls, frame_index, expression):
        """JSON [ok, text]: the bounded repr of the expression's value in the frame, or the
        error it raised."""
        frame = cls._frame(int(frame_index))
        if frame is None:
            return json.dumps([False, 'not paused'])
        try:
            value = eval(expression, frame.f_globals, frame.f_locals)
            return json.dumps([True, cls.bounded_repr(value)])
        except Exception as error:
            return json.dumps([False, cls._bounded_repr_exception(error)])

    @classmethod
    def frame_count(cls):
        return len(cls._frames)


class _KestrelEditorFinder(object):
    """During a run, files that hold breakpoints are imported through the debugger's compile."""

    @classmethod
    def find_spec(cls, name, path=None, target=None):
        import importlib.machinery
        try:
            module = importlib.machinery.PathFinder.find_spec(name, path, target)
        except Exception:
            return None
        loader = getattr(module, 'loader', None)
        if not isinstance(loader, importlib.machinery.SourceFileLoader) or not module.origin \
                or KestrelEditorDebugger.canonical(module.origin) not in KestrelEditorDebugger._breakpoints:
            return None
        module.loader = _KestrelEditorLoader(loader.name, loader.path)
        return module

    @staticmethod
    def invalidate_caches():
        pass


class _KestrelEditorResumeCalls(object):
    """Rewrites the yields and awaits of one function body (not of the functions, classes,
    lambdas and comprehensions inside it) as `__ke2_trace_resumed__(<the yield>)`."""

    def visit_body(self, scope):
        for statement in scope.body:
            self._rewrite(statement)

    def _rewrite(self, node):
        import ast
        nested = (ast.FunctionDef, ast.AsyncFunctionDef, ast.ClassDef, ast.Lambda, ast.GeneratorExp,
                  ast.ListComp, ast.SetComp, ast.DictComp)
        for field, value in ast.iter_fields(node):
            if isinstance(value, list):
                items = [(value, index, item) for index, item in enumerate(value)]
            else:
                items = [(None, field, value)]
            for holder, key, child in items:
                if not isinstance(child, ast.AST) or isinstance(child, nested):
                    continue
                self._rewrite(child)
                if isinstance(child, (ast.Yield, ast.YieldFrom, ast.Await)):
                    call = ast.copy_location(ast.Call(
                        func=ast.Name(id='__ke2_trace_resumed__', ctx=ast.Load()), args=[child],
                        keywords=[]), child)
                    ast.fix_missing_locations(call)
                    if holder is None:
                        setattr(node, key, call)
                    else:
                        holder[key] = call


def _instrumenting_loader():
    import importlib.machinery

    class Loader(importlib.machinery.SourceFileLoader):
        def get_code(self, fullname):
            # Never the cached bytecode: it lacks the debugger's calls (and none is written).
            return KestrelEditorDebugger._compile(self.get_data(self.path), self.path)

    return Loader


_KestrelEditorLoader = _instrumenting_loader()
del _instrumenting_loader  # the script runs in __main__, beside the user's names


class _PropertyPlaceholder(object):
    """Stands for a property in a member list: its getter is never called."""
    __slots__ = ()

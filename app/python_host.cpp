// Python.h first: it must see a clean preprocessor state, and Qt's `slots` macro clashes with a
// member name in its headers.
#pragma push_macro("slots")
#undef slots
#define PY_SSIZE_T_CLEAN
#include <Python.h>
#pragma pop_macro("slots")

#include "app/python_host.h"
#include "app/python_output.h"

#include "config/ini_file.h"
#include "plugin/debug_pause.h"
#include "plugin/python_analysis_thread.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>
#include <QtCore/QThread>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace ke2 {
namespace {

// Shared with the interpreter's threads; read and written with the interpreter lock held.
PythonHost *g_activeHost = nullptr;
bool g_pythonReady = false;
bool g_finalized = false;
bool g_forkedChild = false;
Qt::HANDLE g_uiThread = nullptr;
LineAssembler g_errorLine;
ThreadOutputQueue g_threadOutput;
// Calls the editor makes from its analysis thread are quiet, as its calls from the interface
// thread are: whatever they print is dropped, not queued for the output panel.
thread_local int t_quietCalls = 0;
PyObject *g_helpers = nullptr;   // the bootstrap's globals
PyObject *g_runSource = nullptr; // _ke2host.run_source
PyObject *g_evaluate = nullptr;  // _ke2host.evaluate

// The plumbing between the interpreter and the host: streams that turn writes into host
// messages, warnings as warning messages, and a runner that echoes results and reports
// exceptions the way Maya's console does. Every BaseException ends here, so `sys.exit()` or a
// broken `__repr__` cannot end the program.
const char kBootstrap[] = R"PY(
import codecs, io, sys, traceback, warnings

HISTORY, DISPLAY, INFO, WARNING, ERROR, RESULT, STACK = range(7)
_OWN_FILE = '<ke2host>'
_CHUNK = 1 << 20


class _Buffer(io.BufferedIOBase):
    """The byte side of a stream: bytes are decoded as UTF-8 (invalid ones shown as U+FFFD),
    keeping a character split between two writes whole."""

    def __init__(self, kind):
        io.BufferedIOBase.__init__(self)
        self._kind = kind
        self._decoder = codecs.getincrementaldecoder('utf-8')('replace')

    def writable(self):
        return True

    def write(self, data):
        try:
            view = memoryview(data).cast('B')
        except (TypeError, ValueError):
            view = memoryview(bytes(data))
        size = len(view)
        for start in range(0, size, _CHUNK):
            text = self._decoder.decode(view[start:start + _CHUNK])
            if text:
                write(self._kind, text)
        return size

    def finish(self):
        text = self._decoder.decode(b'', True)
        if text:
            write(self._kind, text)


class _Stream(io.TextIOBase):
    def __init__(self, kind, errors):
        io.TextIOBase.__init__(self)
        self._kind = kind
        self._errors = errors
        self._buffer = _Buffer(kind)

    @property
    def encoding(self):
        return 'utf-8'

    @property
    def errors(self):
        return self._errors

    @property
    def buffer(self):
        return self._buffer

    def writable(self):
        return True

    def isatty(self):
        return False

    def write(self, text):
        if not isinstance(text, str):
            raise TypeError('write() argument must be str, not %s' % type(text).__name__)
        # Lines, chunks and the thread hand-over are kept in one place, under the interpreter
        # lock, so threads writing at once cannot tear each other's unfinished lines.
        return write(self._kind, text)

    def flush(self):
        flush()


# stdout refuses what UTF-8 cannot carry, as a UTF-8 terminal's does; stderr escapes it, so an
# error message is never lost to its own encoding.
stdout = _Stream(DISPLAY, 'strict')
stderr = _Stream(ERROR, 'backslashreplace')


def install_streams():
    if getattr(sys, 'stdout', None) is None:
        sys.stdout = stdout
    if getattr(sys, 'stderr', None) is None:
        sys.stderr = stderr
    if getattr(sys, 'stdin', None) is None:
        sys.stdin = io.StringIO()


def _showwarning(message, category, filename, lineno, file=None, line=None):
    emit(WARNING, '%s:%s: %s: %s' % (filename, lineno, category.__name__, message))


def _user_traceback(tb):
    while tb is not None and tb.tb_frame.f_code.co_filename == _OWN_FILE:
        tb = tb.tb_next
    return tb


def describe(error):
    name = type(error).__name__
    filename = lineno = None
    if isinstance(error, SyntaxError):
        message, filename, lineno = error.msg, error.filename, error.lineno
    else:
        try:
            message = str(error)
        except BaseException:
            message = '<exception str() failed>'
        tb = _user_traceback(error.__traceback__)
        while tb is not None:
            filename, lineno = tb.tb_frame.f_code.co_filename, tb.tb_lineno
            tb = tb.tb_next
    if lineno is not None:
        return '%s: file %s line %s: %s' % (name, filename, lineno, message)
    return '%s: %s' % (name, message)


def report(error, stack_trace=False):
    try:
        trace = ''.join(traceback.format_exception(
            type(error), error, _user_traceback(error.__traceback__)))
    except BaseException:
        trace = ''
    if trace:
        emit(STACK, trace)
    if not (stack_trace and trace):
        emit(ERROR, describe(error))
        return
    # With the stack trace on, the error shows every frame, caller first, each line of the
    # trace commented as the host's own script editor shows it.
    try:
        message = str(error) if not isinstance(error, SyntaxError) else error.msg
    except BaseException:
        message = '<exception str() failed>'
    lines = trace.rstrip('\n').split('\n')
    emit(ERROR, message + '\n' + '\n'.join('# ' + line for line in lines))


def _exit_status(error):
    """What python3 makes of an uncaught SystemExit: a status, or a text for stderr (status 1)."""
    code = error.code
    if code is None:
        return 0
    if isinstance(code, int):
        return code
    try:
        return str(code)
    except BaseException:
        return '<exception str() failed>'


def _refuse_nul(source):
    if ('\0' if isinstance(source, str) else b'\0') in source:
        raise SyntaxError('source code cannot contain null bytes')


def decode_source(source):
    """A file's bytes as the interpreter reads them: a byte order mark or coding line decides."""
    try:
        import tokenize
        encoding = tokenize.detect_encoding(io.BytesIO(source).readline)[0]
        return source.decode(encoding, 'replace')
    except Exception:
        return source.decode('utf-8', 'replace')


def prepare_file(path):
    import os
    name = os.fsdecode(path)
    sys.argv = [name]
    sys.modules['__main__'].__dict__['__file__'] = name
    sys.path.insert(0, os.path.dirname(os.path.abspath(name)))


def end_run():
    stdout.buffer.finish()
    stderr.buffer.finish()
    end_line()


def run_source(source, display, path=None, stack_trace=False):
    """Runs console text (str) or a file's bytes (their coding line decides); False when it raised.

    A file named by `path` ends as python3 ends it: SystemExit gives its status (or a text
    for stderr), KeyboardInterrupt the status 130, and errors name the file."""
    install_streams()
    namespace = sys.modules['__main__'].__dict__
    name = '<maya console>'
    if path is not None:
        import os
        name = os.fsdecode(path)
    try:
        _refuse_nul(source)
        try:
            code = compile(source, name, 'eval')
        except SyntaxError:
            code = None
        if code is None:
            exec(compile(source, name, 'exec'), namespace)
        else:
            value = eval(code, namespace)
            if display and value is not None:
                emit(RESULT, repr(value))
        return True
    except SystemExit as error:
        if path is None:
            report(error, stack_trace)
            return False
        return _exit_status(error)
    except BaseException as error:
        report(error, stack_trace)
        if path is not None and isinstance(error, KeyboardInterrupt):
            return 130
        return False
    finally:
        end_run()


def evaluate(source):
    install_streams()
    namespace = sys.modules['__main__'].__dict__
    try:
        try:
            code = compile(source, '<string>', 'eval')
        except SyntaxError:
            code = None
        if code is None:
            exec(compile(source, '<string>', 'exec'), namespace)
            return None
        return eval(code, namespace)
    finally:
        end_run()


def running_threads():
    """The threads the interpreter waits for at exit that are still running."""
    threading = sys.modules.get('threading')
    if threading is None:
        return []
    main = threading.main_thread()
    return [t.name for t in threading.enumerate()
            if t is not main and not t.daemon and t.is_alive()]


def release_threads():
    """Lets the interpreter end without waiting for the running threads (they stop with it)."""
    threading = sys.modules.get('threading')
    lock = getattr(threading, '_shutdown_locks_lock', None)
    locks = getattr(threading, '_shutdown_locks', None)
    if lock is not None and locks is not None:
        with lock:
            locks.clear()


def _watch_forks():
    import os
    os.register_at_fork(before=before_fork, after_in_child=forked)


def _route_interrupts():
    # Python's own handler turns an interrupt request into KeyboardInterrupt; the operating
    # system's part is set back by the host unless the terminal's Ctrl+C should reach scripts.
    import signal
    signal.signal(signal.SIGINT, signal.default_int_handler)


sys.stdout = stdout
sys.stderr = stderr
sys.stdin = io.StringIO()
warnings.showwarning = _showwarning
_watch_forks()
_route_interrupts()
)PY";

// Hands `text` to `sink` in pieces of at most kOutputChunk characters, each encoded with
// `errors`. False, with the Python error set, when the encoding refuses a piece.
bool forEachChunk(PyObject *text, const char *errors, const std::function<void(const QString &)> &sink)
{
    const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
    for (Py_ssize_t start = 0; start < length; start += kOutputChunk) {
        PyObject *piece = PyUnicode_Substring(text, start, std::min<Py_ssize_t>(length, start + kOutputChunk));
        PyObject *bytes = piece ? PyUnicode_AsEncodedString(piece, "utf-8", errors) : nullptr;
        Py_XDECREF(piece);
        if (!bytes)
            return false;
        sink(QString::fromUtf8(PyBytes_AS_STRING(bytes), static_cast<int>(PyBytes_GET_SIZE(bytes))));
        Py_DECREF(bytes);
    }
    return true;
}

// Called with the interpreter lock held, from any thread.
void deliver(int type, const QString &text)
{
    PythonHost *host = g_activeHost;
    if (!host)
        return;
    if (QThread::currentThreadId() == g_uiThread) {
        host->emitMessage(text, type);
    } else if (g_threadOutput.push(type, text, static_cast<int>(MessageType::Display))) {
        // One wake-up for everything queued until the user-interface thread takes it.
        QMetaObject::invokeMethod(host, [host] { host->deliverThreadOutput(); }, Qt::QueuedConnection);
    }
}

void deliverError(const QString &line)
{
    deliver(static_cast<int>(MessageType::Error), line);
}

// _ke2host.emit(type, text): one message of the host's own (results, errors, warnings).
PyObject *hostEmit(PyObject *, PyObject *args)
{
    int type = 0;
    PyObject *text = nullptr;
    if (!PyArg_ParseTuple(args, "iU", &type, &text))
        return nullptr;
    if (t_quietCalls > 0)
        Py_RETURN_NONE;
    if (!forEachChunk(text, "backslashreplace", [type](const QString &piece) { deliver(type, piece); }))
        return nullptr;
    Py_RETURN_NONE;
}

// _ke2host.write(kind, text): a stream write. Display text leaves as written; error text is
// framed line by line, so it is gathered up to each newline.
PyObject *hostWrite(PyObject *, PyObject *args)
{
    int kind = 0;
    PyObject *text = nullptr;
    if (!PyArg_ParseTuple(args, "iU", &kind, &text))
        return nullptr;
    if (t_quietCalls > 0)
        return PyLong_FromSsize_t(PyUnicode_GET_LENGTH(text));
    const bool display = kind == static_cast<int>(MessageType::Display);
    const bool ok = display ? forEachChunk(text, "strict", [kind](const QString &piece) { deliver(kind, piece); })
                            : forEachChunk(text, "backslashreplace", [](const QString &piece) {
                                  g_errorLine.append(piece, deliverError);
                              });
    if (!ok)
        return nullptr;
    return PyLong_FromSsize_t(PyUnicode_GET_LENGTH(text));
}

// _ke2host.end_line(): the end of a run completes an unfinished error line.
PyObject *hostEndLine(PyObject *, PyObject *)
{
    g_errorLine.finish(deliverError);
    Py_RETURN_NONE;
}

// _ke2host.flush(): a script's flush() reaches the host's own output (--run's standard output).
PyObject *hostFlush(PyObject *, PyObject *)
{
    PythonHost *host = g_activeHost;
    if (host && QThread::currentThreadId() == g_uiThread) {
        host->deliverThreadOutput();
        host->flushOutput();
    }
    Py_RETURN_NONE;
}

PyObject *hostBeforeFork(PyObject *, PyObject *)
{
    // Nothing buffered may be written twice, once by each process.
    std::fflush(nullptr);
    Py_RETURN_NONE;
}

// In the child of a script's os.fork(): only the forking thread exists, so it delivers itself,
// and the editor's window belongs to the parent.
PyObject *hostForked(PyObject *, PyObject *)
{
    g_forkedChild = true;
    g_uiThread = QThread::currentThreadId();
    g_threadOutput.clear();
    if (PythonHost *host = g_activeHost)
        host->output().setReceiver([](const QString &text) {
            const QByteArray bytes = text.toUtf8();
            std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
            std::fflush(stdout);
        });
    Py_RETURN_NONE;
}

PyObject *toPython(const QString &text);
bool fromPython(PyObject *object, QString &text);

// _ke2host.debug_pause(info): a debugger stop. The editor's window runs its own loop until the
// user chooses what to do; the interpreter lock is released meanwhile, so the script's threads
// run on and the editor's queries take it back as they need.
PyObject *hostDebugPause(PyObject *, PyObject *args)
{
    PyObject *info = nullptr;
    if (!PyArg_ParseTuple(args, "U", &info))
        return nullptr;
    QString text;
    if (!fromPython(info, text))
        return nullptr;
    QString action;
    Py_BEGIN_ALLOW_THREADS
    action = DebugPause::call(text);
    Py_END_ALLOW_THREADS
    return toPython(action);
}

PyMethodDef g_hostMethods[] = {
    {"debug_pause", hostDebugPause, METH_VARARGS, nullptr},
    {"emit", hostEmit, METH_VARARGS, nullptr},
    {"write", hostWrite, METH_VARARGS, nullptr},
    {"end_line", hostEndLine, METH_NOARGS, nullptr},
    {"flush", hostFlush, METH_NOARGS, nullptr},
    {"before_fork", hostBeforeFork, METH_NOARGS, nullptr},
    {"forked", hostForked, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef g_hostModule = {
    PyModuleDef_HEAD_INIT, "_ke2host", nullptr, -1, g_hostMethods,
    nullptr, nullptr, nullptr, nullptr,
};

PyObject *initHostModule()
{
    return PyModule_Create(&g_hostModule);
}

class Gil {
public:
    Gil() : m_state(PyGILState_Ensure()) {}
    ~Gil() { PyGILState_Release(m_state); }
    Gil(const Gil &) = delete;
    Gil &operator=(const Gil &) = delete;

private:
    PyGILState_STATE m_state;
};

// A call through the host port from a thread other than the interface thread: quiet while it lasts.
class OffThreadCall {
public:
    OffThreadCall() : m_quiet(QThread::currentThreadId() != g_uiThread) { t_quietCalls += m_quiet ? 1 : 0; }
    ~OffThreadCall() { t_quietCalls -= m_quiet ? 1 : 0; }
    OffThreadCall(const OffThreadCall &) = delete;
    OffThreadCall &operator=(const OffThreadCall &) = delete;

private:
    const bool m_quiet;
};

PyObject *toPython(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    return PyUnicode_FromStringAndSize(utf8.constData(), utf8.size());
}

bool fromPython(PyObject *object, QString &text)
{
    if (!PyUnicode_Check(object))
        return false;
    // "replace" keeps lone surrogates from failing the whole conversion.
    PyObject *bytes = PyUnicode_AsEncodedString(object, "utf-8", "replace");
    if (!bytes) {
        PyErr_Clear();
        return false;
    }
    text = QString::fromUtf8(PyBytes_AS_STRING(bytes), static_cast<int>(PyBytes_GET_SIZE(bytes)));
    Py_DECREF(bytes);
    return true;
}

// A list or tuple of strings; `result` is left empty when any element is not one.
bool fromPythonList(PyObject *value, QStringList &result)
{
    result.clear();
    bool ok = PyList_Check(value) || PyTuple_Check(value);
    if (ok) {
        const Py_ssize_t count = PySequence_Fast_GET_SIZE(value);
        for (Py_ssize_t i = 0; i < count && ok; ++i) {
            QString item;
            ok = fromPython(PySequence_Fast_GET_ITEM(value, i), item);
            result.append(item);
        }
    }
    if (!ok)
        result.clear();
    return ok;
}

// Calls a bootstrap function; a new reference, or null with the error cleared.
PyObject *callHelper(const char *name, PyObject *argument = nullptr)
{
    PyObject *function = g_helpers ? PyDict_GetItemString(g_helpers, name) : nullptr; // borrowed
    PyObject *result = function ? PyObject_CallFunctionObjArgs(function, argument, nullptr) : nullptr;
    if (!result)
        PyErr_Clear();
    return result;
}

// The Esc watch's request, made on the main thread (see InterruptWatch). A debugged run paused
// at a stop takes it from the debugger's pause instead.
void requestInterrupt()
{
    if (DebugPause::isWaiting())
        DebugPause::requestInterrupt();
    else
        PyErr_SetInterruptEx(SIGINT);
}

bool startPython()
{
    if (g_pythonReady)
        return true;
    if (g_finalized || Py_IsInitialized())
        return false; // ended, or someone else owns the interpreter; do not share it half-configured
    PyImport_AppendInittab("_ke2host", &initHostModule);

    PyConfig config;
    PyConfig_InitPythonConfig(&config);
    config.install_signal_handlers = 0; // the application decides what Ctrl+C does
    config.parse_argv = 0;
    // Our own path as program name: the standard library is then found at the interpreter's
    // built-in prefix, not through whatever `python3` comes first on PATH.
    const QString program = QCoreApplication::instance()
                                ? QCoreApplication::applicationFilePath()
                                : QStringLiteral("kestrel-editor");
    const std::wstring programWide = program.toStdWString();
    PyStatus status = PyConfig_SetString(&config, &config.program_name, programWide.c_str());
    if (!PyStatus_Exception(status))
        status = Py_InitializeFromConfig(&config);
    PyConfig_Clear(&config);
    if (PyStatus_Exception(status))
        return false;
#ifdef SIGPIPE
    // As python3 does: a write to a closed pipe raises BrokenPipeError instead of ending us.
    std::signal(SIGPIPE, SIG_IGN);
#endif
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, SIG_IGN);
#endif

    bool ok = false;
    // The bootstrap installs Python's own interrupt handler; the terminal's Ctrl+C keeps what it
    // did before unless `--run` asks for it.
    const auto previous = std::signal(SIGINT, SIG_DFL);
    if (PyObject *module = PyImport_ImportModule("_ke2host")) {
        PyObject *globals = PyModule_GetDict(module); // borrowed
        if (PyObject *code = Py_CompileString(kBootstrap, "<ke2host>", Py_file_input)) {
            if (PyObject *result = PyEval_EvalCode(code, globals, globals)) {
                Py_DECREF(result);
                g_helpers = globals;
                Py_INCREF(g_helpers);
                g_runSource = PyDict_GetItemString(globals, "run_source");
                g_evaluate = PyDict_GetItemString(globals, "evaluate");
                Py_XINCREF(g_runSource);
                Py_XINCREF(g_evaluate);
                ok = g_runSource && g_evaluate;
            }
            Py_DECREF(code);
        }
        Py_DECREF(module);
    }
    std::signal(SIGINT, previous);
    if (PyErr_Occurred())
        PyErr_Clear();
    // The interpreter stays; the main thread hands the GIL back so the user's threads can run
    // while the editor waits for events.
    PyEval_SaveThread();
    g_pythonReady = ok;
    return ok;
}

QString normalisedMel(const QString &command)
{
    QString text = command.simplified();
    while (text.endsWith(QLatin1Char(';')))
        text = text.left(text.size() - 1).trimmed();
    return text;
}

} // namespace

PythonHost::PythonHost(const QString &prefsRoot, QObject *parent)
    : QObject(parent), m_prefsRoot(prefsRoot.isEmpty() ? defaultPrefsRoot() : prefsRoot)
{
    m_prefsRoot = QDir::cleanPath(QDir(m_prefsRoot).absolutePath());
    // What the host says before the window or `--run`'s output exists waits for it.
    output().setKeepUntilReceiver(true);
    readOptionVars();
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(0);
    connect(&m_idleTimer, &QTimer::timeout, this, &PythonHost::runNextIdle);
    m_watch.setInterrupt(requestInterrupt);
    const bool running = g_pythonReady;
    if (running) {
        Gil gil;
        setActive(this);
    } else {
        setActive(this);
        if (!startPython())
            qWarning("kestrel-editor: the embedded Python interpreter could not be started");
    }
}

PythonHost::~PythonHost()
{
    // A thread may be inside the output path right now; it reads the active host with the
    // interpreter lock held, so the host leaves under that lock too.
    if (g_activeHost != this)
        return;
    if (g_pythonReady) {
        Gil gil;
        setActive(nullptr);
    } else {
        setActive(nullptr);
    }
}

void PythonHost::setActive(PythonHost *host)
{
    g_activeHost = host;
    g_uiThread = QThread::currentThreadId();
    g_threadOutput.clear();
}

QString PythonHost::defaultPrefsRoot()
{
    const QString redirected = qEnvironmentVariable("KE2_PREFS_DIR");
    if (!redirected.isEmpty())
        return redirected;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + QStringLiteral("/kestrel-editor");
}

QString PythonHost::userPrefDir() const
{
    const QString dir = m_prefsRoot + QStringLiteral("/prefs/");
    QDir().mkpath(dir);
    return dir;
}

QString PythonHost::userScriptDir() const
{
    const QString dir = m_prefsRoot + QStringLiteral("/scripts/");
    QDir().mkpath(dir);
    return dir;
}

QString PythonHost::melUnavailableMessage()
{
    return QStringLiteral("MEL needs a Maya session; this standalone editor runs Python only.");
}

void PythonHost::emitMessage(const QString &text, int type)
{
    // What the script's other threads wrote before this message comes before it.
    deliverThreadOutput();
    deliverNow(text, type);
}

void PythonHost::deliverNow(const QString &text, int type)
{
    if (m_callbacks == Callbacks::Removed && !m_finalizing)
        return;
    if (type == static_cast<int>(MessageType::Error) && !output().isQuiet())
        ++m_errorCount;
    output().deliver(text, type);
}

void PythonHost::deliverThreadOutput()
{
    if (m_deliveringThreadOutput || g_threadOutput.isEmpty())
        return;
    m_deliveringThreadOutput = true;
    // The script's threads are never the editor's internal calls: their output shows even when
    // it is delivered during one.
    const bool quiet = output().isQuiet();
    output().setQuiet(false);
    for (const ThreadOutputQueue::Message &message : g_threadOutput.take())
        deliverNow(message.text, message.type);
    output().setQuiet(quiet);
    m_deliveringThreadOutput = false;
}

QStringList PythonHost::runningScriptThreads(bool *interrupted)
{
    QStringList names;
    if (!g_pythonReady)
        return names;
    Gil gil;
    if (interrupted && PyErr_CheckSignals() < 0) {
        PyErr_Clear();
        *interrupted = true;
    }
    if (PyObject *list = callHelper("running_threads")) {
        fromPythonList(list, names);
        Py_DECREF(list);
    }
    return names;
}

bool PythonHost::waitForScriptThreads(int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        deliverThreadOutput();
        bool interrupted = false;
        if (runningScriptThreads(&interrupted).isEmpty())
            return true;
        if (interrupted || (milliseconds >= 0 && clock.elapsed() >= milliseconds))
            return false;
        g_threadOutput.waitForMessages(20);
    }
}

bool PythonHost::finalize(bool waitForThreads)
{
    if (!g_pythonReady)
        return false;
    PythonAnalysisThread::Drain(); // the analysis thread may be inside the interpreter
    if (waitForThreads && !waitForScriptThreads(-1))
        waitForThreads = false; // interrupted: end now, as python3 does on a second Ctrl+C
    m_finalizing = true;
    PyGILState_Ensure(); // never released: the interpreter ends with it
    if (!waitForThreads)
        Py_XDECREF(callHelper("release_threads"));
    deliverThreadOutput();
    // Waits for the threads, runs the at-exit handlers and closes what the script left open.
    const int status = Py_FinalizeEx();
    g_pythonReady = false;
    g_finalized = true;
    g_helpers = g_runSource = g_evaluate = nullptr;
    g_errorLine.finish([this](const QString &line) { deliverNow(line, static_cast<int>(MessageType::Error)); });
    deliverThreadOutput();
    m_finalizing = false;
    return status == 0;
}

bool PythonHost::isFinalized() const
{
    return g_finalized;
}

void PythonHost::catchTerminalInterrupt()
{
    if (!g_pythonReady)
        return;
    Gil gil;
    Py_XDECREF(callHelper("_route_interrupts"));
}

// ---- MEL -------------------------------------------------------------------------------------

bool PythonHost::answerMel(const QString &command, QVariant &answer)
{
    const QString text = normalisedMel(command);
    if (text == QLatin1String("about -batch") || text == QLatin1String("mayaDpiSetting -q -m")) {
        answer = 0;
        return true;
    }
    // The output options the editor sets: the bridge keeps them in option variables, which is
    // where this host reads them.
    static const QRegularExpression option(
        QStringLiteral("^(commandEcho -state|commandEcho -lineNumbers|stackTrace -state|scriptEditorInfo -ssw) [01]$"));
    if (option.match(text).hasMatch()) {
        answer = QVariant();
        return true;
    }
    if (text == QLatin1String("internalVar -userPrefDir") || text == QLatin1String("internalVar -upd")) {
        answer = userPrefDir();
        return true;
    }
    if (text == QLatin1String("internalVar -userScriptDir") || text == QLatin1String("internalVar -usd")) {
        answer = userScriptDir();
        return true;
    }
    return false;
}

bool PythonHost::executeMel(const QString &command)
{
    QVariant answer;
    return answerMel(command, answer);
}

namespace {
// A native answer handed out only when it has the asked type, as a host command result would be.
template <typename T>
bool typedAnswer(bool answered, const QVariant &answer, T &result)
{
    if (!answered || answer.userType() != qMetaTypeId<T>())
        return false;
    result = answer.value<T>();
    return true;
}
} // namespace

bool PythonHost::executeMelString(const QString &command, QString &result)
{
    QVariant answer;
    return typedAnswer(answerMel(command, answer), answer, result);
}

bool PythonHost::executeMelInt(const QString &command, int &result)
{
    QVariant answer;
    return typedAnswer(answerMel(command, answer), answer, result);
}

bool PythonHost::executeMelDouble(const QString &command, double &result)
{
    QVariant answer;
    return typedAnswer(answerMel(command, answer), answer, result);
}

bool PythonHost::executeMelStringArray(const QString &command, QStringList &result)
{
    QVariant answer;
    return typedAnswer(answerMel(command, answer), answer, result);
}

void PythonHost::executeMelOnIdle(const QString &command, bool displayEnabled)
{
    m_idle.enqueue({true, command, displayEnabled, {}, {}});
    m_idleTimer.start();
}

// ---- Python ----------------------------------------------------------------------------------

bool PythonHost::evaluate(const QString &source, void **value)
{
    *value = nullptr;
    if (!g_pythonReady)
        return false;
    PyObject *text = toPython(source);
    PyObject *result = text ? PyObject_CallFunctionObjArgs(g_evaluate, text, nullptr) : nullptr;
    Py_XDECREF(text);
    if (!result) {
        PyErr_Clear(); // failures answer false and print nothing
        return false;
    }
    if (result == Py_None)
        Py_DECREF(result);
    else
        *value = result;
    return true;
}

bool PythonHost::executePython(const QString &command)
{
    OffThreadCall quiet;
    Gil gil;
    void *value = nullptr;
    const bool ok = evaluate(command, &value);
    Py_XDECREF(static_cast<PyObject *>(value));
    return ok;
}

bool PythonHost::executePythonStringList(const QString &command, QStringList &result)
{
    result.clear();
    OffThreadCall quiet;
    Gil gil;
    void *raw = nullptr;
    if (!evaluate(command, &raw))
        return false;
    PyObject *value = static_cast<PyObject *>(raw);
    if (!value)
        return true; // statements: nothing to convert
    const bool ok = fromPythonList(value, result);
    Py_DECREF(value);
    return ok;
}

bool PythonHost::executePythonString(const QString &command, QString &result)
{
    OffThreadCall quiet;
    Gil gil;
    void *raw = nullptr;
    if (!evaluate(command, &raw))
        return false;
    PyObject *value = static_cast<PyObject *>(raw);
    if (!value)
        return true;
    QString text;
    const bool ok = fromPython(value, text);
    Py_DECREF(value);
    if (ok)
        result = text;
    return ok;
}

bool PythonHost::executePythonInt(const QString &command, int &result)
{
    OffThreadCall quiet;
    Gil gil;
    void *raw = nullptr;
    if (!evaluate(command, &raw))
        return false;
    PyObject *value = static_cast<PyObject *>(raw);
    if (!value)
        return true;
    bool ok = PyLong_Check(value);
    if (ok) {
        int overflow = 0;
        const long long number = PyLong_AsLongLongAndOverflow(value, &overflow);
        ok = !overflow && number >= INT_MIN && number <= INT_MAX && !PyErr_Occurred();
        PyErr_Clear();
        if (ok)
            result = static_cast<int>(number);
    }
    Py_DECREF(value);
    return ok;
}

void PythonHost::executePythonOnIdle(const QString &command, bool displayEnabled)
{
    m_idle.enqueue({false, command, displayEnabled, {}, {}});
    m_idleTimer.start();
}

void PythonHost::executePythonFileOnIdle(const QByteArray &source, const QByteArray &nativePath,
                                         bool displayEnabled)
{
    m_idle.enqueue({false, QString(), displayEnabled, source, nativePath});
    m_idleTimer.start();
}

void PythonHost::runNextIdle()
{
    if (m_idle.isEmpty() || m_running)
        return;
    const IdleCommand command = m_idle.dequeue();
    runIdleCommand(command);
    if (!m_idle.isEmpty())
        m_idleTimer.start();
}

void PythonHost::drainIdleQueue()
{
    if (m_running)
        return;
    m_idleTimer.stop();
    while (!m_idle.isEmpty())
        runIdleCommand(m_idle.dequeue());
}

void PythonHost::echo(const QString &text)
{
    QString line = text;
    if (!line.endsWith(QLatin1Char('\n')))
        line += QLatin1Char('\n');
    emitMessage(line, static_cast<int>(MessageType::History));
}

void PythonHost::runIdleCommand(const IdleCommand &command)
{
    m_exitStatus = 0;
    m_exitMessage.clear();
    if (command.mel) {
        if (command.display)
            echo(command.text);
        // The editor's own queries and options run quietly; user MEL cannot run here, and says
        // so even when it runs without an echo (a bare variable's print).
        QVariant answer;
        if (!answerMel(command.text, answer)) {
            emitMessage(melUnavailableMessage(), static_cast<int>(MessageType::Error));
            finishRun(true);
        }
        return;
    }
    if (!g_pythonReady) {
        if (command.display)
            echo(command.text);
        emitMessage(QStringLiteral("The embedded Python interpreter is not available."),
                    static_cast<int>(MessageType::Error));
        finishRun(true);
        return;
    }
    Gil gil;
    // An interrupt requested after the previous run ended belongs to no run.
    if (PyErr_CheckSignals() < 0)
        PyErr_Clear();
    const bool file = !command.source.isNull();
    PyObject *source = nullptr;
    if (file) {
        source = PyBytes_FromStringAndSize(command.source.constData(), command.source.size());
        if (command.display) {
            QString text;
            PyObject *decoded = source ? callHelper("decode_source", source) : nullptr;
            if (!decoded || !fromPython(decoded, text))
                text = QString::fromUtf8(command.source.constData(), command.source.size());
            Py_XDECREF(decoded);
            echo(text);
        }
        if (!command.path.isNull()) {
            PyObject *path = PyBytes_FromStringAndSize(command.path.constData(), command.path.size());
            Py_XDECREF(path ? callHelper("prepare_file", path) : nullptr);
            Py_XDECREF(path);
        }
    } else {
        if (command.display)
            echo(command.text);
        source = toPython(command.text);
    }
    // A file run names its file, as python3 does; console text is the host's console.
    PyObject *path = file && !command.path.isNull()
                         ? PyBytes_FromStringAndSize(command.path.constData(), command.path.size())
                         : (Py_INCREF(Py_None), Py_None);
    PyObject *stackTrace = optionVarInt(QStringLiteral("stackTraceIsOn")) != 0 ? Py_True : Py_False;
    // The user's runs can be stopped with Esc; the watch thread lives only while one runs.
    m_watch.start(InterruptWatch::ourWindows());
    m_running = true;
    PyObject *result = source && path ? PyObject_CallFunctionObjArgs(g_runSource, source,
                                                                     command.display ? Py_True : Py_False,
                                                                     path, stackTrace, nullptr)
                                      : nullptr;
    m_running = false;
    m_watch.stop();
    Py_XDECREF(source);
    Py_XDECREF(path);
    bool failed = result != Py_True;
    m_exitStatus = failed ? 1 : 0;
    m_exitMessage.clear();
    if (result && result != Py_True && result != Py_False && PyLong_Check(result)) {
        // A file's SystemExit or KeyboardInterrupt: the status python3 would end with.
        int overflow = 0;
        const long status = PyLong_AsLongAndOverflow(result, &overflow);
        PyErr_Clear();
        m_exitStatus = overflow || status < INT_MIN || status > INT_MAX ? -1 : static_cast<int>(status);
        failed = m_exitStatus != 0;
    } else if (result && PyUnicode_Check(result)) {
        fromPython(result, m_exitMessage);
        m_exitStatus = 1;
    }
    if (result) {
        Py_DECREF(result);
    } else {
        // Only reached when even the reporting failed (for example memory exhaustion).
        PyObject *type = nullptr, *value = nullptr, *traceback = nullptr;
        PyErr_Fetch(&type, &value, &traceback);
        const QString name = type && PyType_Check(type)
                                 ? QString::fromUtf8(reinterpret_cast<PyTypeObject *>(type)->tp_name)
                                 : QStringLiteral("Exception");
        Py_XDECREF(type);
        Py_XDECREF(value);
        Py_XDECREF(traceback);
        emitMessage(name, static_cast<int>(MessageType::Error));
        failed = true;
    }
    if (g_forkedChild)
        endForkedChild(failed);
    finishRun(failed);
}

void PythonHost::finishRun(bool failed)
{
    if (failed)
        ++m_failedRuns;
    if (failed && m_exitStatus == 0)
        m_exitStatus = 1;
    // Everything the run's threads printed so far is shown before the run counts as finished.
    deliverThreadOutput();
    emit runFinished(failed);
    // Commands queued while the run was paused in the debugger run now, in order.
    if (!m_idle.isEmpty())
        m_idleTimer.start();
}

void PythonHost::endForkedChild(bool failed)
{
    // The child of a script's fork ends where python3's would: at the end of the script, with
    // the at-exit handlers run, instead of going on as a second editor.
    deliverThreadOutput();
    Py_FinalizeEx();
    std::fflush(nullptr);
#ifdef Q_OS_UNIX
    _exit(failed ? 1 : 0);
#else
    std::_Exit(failed ? 1 : 0);
#endif
}

// ---- Messages, option variables, callbacks ----------------------------------------------------

void PythonHost::displayError(const QString &message)
{
    emitMessage(message, static_cast<int>(MessageType::Error));
}

void PythonHost::displayWarning(const QString &message)
{
    emitMessage(message, static_cast<int>(MessageType::Warning));
}

void PythonHost::displayInfo(const QString &message)
{
    emitMessage(message, static_cast<int>(MessageType::Info));
}

QString PythonHost::optionVarsPath() const
{
    return m_prefsRoot + QStringLiteral("/optionVars.ini");
}

void PythonHost::readOptionVars()
{
    const QString path = optionVarsPath();
    const QFileInfo info(path);
    // Something that is not a regular file (a FIFO would block the read for ever) is neither
    // read nor replaced.
    m_optionVarsWritable = !info.exists() || info.isFile();
    if (!m_optionVarsWritable) {
        displayWarning(QStringLiteral("%1 is not a regular file; option variables are kept for this session only.")
                           .arg(QDir::toNativeSeparators(path)));
        return;
    }
    if (std::unique_ptr<QSettings> settings = IniFile::openForReading(path)) {
        for (const QString &key : settings->allKeys())
            m_optionVars.insert(key, settings->value(key));
    }
}

bool PythonHost::optionVarExists(const QString &name)
{
    return m_optionVars.contains(name);
}

int PythonHost::optionVarInt(const QString &name)
{
    bool ok = false;
    const int value = m_optionVars.value(name).toInt(&ok);
    return ok ? value : 0;
}

void PythonHost::setOptionVarInt(const QString &name, int value)
{
    m_optionVars.insert(name, value);
    if (m_optionVarsWritable)
        IniFile::write(optionVarsPath(), [&name, value](QSettings &settings) { settings.setValue(name, value); });
}

bool PythonHost::addCallbacks(QuitCallback onQuit)
{
    removeCallbacks();
    m_onQuit = std::move(onQuit);
    if (QCoreApplication *app = QCoreApplication::instance()) {
        m_quitConnection = connect(app, &QCoreApplication::aboutToQuit, this, [this] {
            if (m_onQuit)
                m_onQuit();
        });
    }
    m_callbacks = Callbacks::Installed;
    return true;
}

bool PythonHost::removeCallbacks()
{
    disconnect(m_quitConnection);
    m_onQuit = nullptr;
    if (m_callbacks == Callbacks::Installed)
        m_callbacks = Callbacks::Removed;
    return true;
}

} // namespace ke2

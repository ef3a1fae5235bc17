// Python.h first: it must see a clean preprocessor state, and Qt's `slots` macro clashes with a
// member name in its headers.
#pragma push_macro("slots")
#undef slots
#define PY_SSIZE_T_CLEAN
#include <Python.h>
#pragma pop_macro("slots")

#include "app/python_host.h"

#include "config/ini_file.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QRegularExpression>
#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>
#include <QtCore/QThread>

#include <climits>

namespace ke2 {
namespace {

PythonHost *g_activeHost = nullptr;
bool g_pythonReady = false;
PyObject *g_runSource = nullptr; // _ke2host.run_source
PyObject *g_evaluate = nullptr;  // _ke2host.evaluate

// The plumbing between the interpreter and the host: streams that turn writes into host
// messages, warnings as warning messages, and a runner that echoes results and reports
// exceptions the way Maya's console does. Every BaseException ends here, so `sys.exit()` or a
// broken `__repr__` cannot end the program.
const char kBootstrap[] = R"PY(
import io, sys, traceback, warnings

HISTORY, DISPLAY, INFO, WARNING, ERROR, RESULT, STACK = range(7)
_OWN_FILE = '<ke2host>'


class _Stream(io.TextIOBase):
    def __init__(self, kind):
        io.TextIOBase.__init__(self)
        self._kind = kind
        self._pending = ''

    @property
    def encoding(self):
        return 'utf-8'

    def writable(self):
        return True

    def isatty(self):
        return False

    def write(self, text):
        if not isinstance(text, str):
            raise TypeError('write() argument must be str, not %s' % type(text).__name__)
        if not text:
            return 0
        if self._kind == DISPLAY:
            emit(DISPLAY, text)
        else:
            # Error lines are framed one by one, so they are gathered up to each newline.
            parts = (self._pending + text).split('\n')
            self._pending = parts.pop()
            for line in parts:
                emit(ERROR, line)
        return len(text)

    def flush(self):
        if self._pending:
            line, self._pending = self._pending, ''
            emit(ERROR, line)


stdout = _Stream(DISPLAY)
stderr = _Stream(ERROR)


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


def report(error):
    try:
        trace = ''.join(traceback.format_exception(
            type(error), error, _user_traceback(error.__traceback__)))
    except BaseException:
        trace = ''
    if trace:
        emit(STACK, trace)
    emit(ERROR, describe(error))


def run_source(source, display):
    install_streams()
    namespace = sys.modules['__main__'].__dict__
    try:
        try:
            code = compile(source, '<maya console>', 'eval')
        except SyntaxError:
            code = None
        if code is None:
            exec(compile(source, '<maya console>', 'exec'), namespace)
        else:
            value = eval(code, namespace)
            if display and value is not None:
                emit(RESULT, repr(value))
    except BaseException as error:
        report(error)
    finally:
        stderr.flush()


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
        stderr.flush()


sys.stdout = stdout
sys.stderr = stderr
sys.stdin = io.StringIO()
warnings.showwarning = _showwarning
)PY";

PyObject *hostEmit(PyObject *, PyObject *args)
{
    int type = 0;
    const char *text = nullptr;
    Py_ssize_t size = 0;
    if (!PyArg_ParseTuple(args, "is#", &type, &text, &size))
        return nullptr;
    const QString message = QString::fromUtf8(text, static_cast<int>(size));
    if (PythonHost *host = g_activeHost) {
        if (QThread::currentThread() == host->thread()) {
            host->emitMessage(message, type);
        } else {
            // Output of the user's own threads joins the main thread's in order of arrival.
            QMetaObject::invokeMethod(
                host, [host, message, type] { host->emitMessage(message, type); },
                Qt::QueuedConnection);
        }
    }
    Py_RETURN_NONE;
}

PyMethodDef g_hostMethods[] = {
    {"emit", hostEmit, METH_VARARGS, nullptr},
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

bool startPython()
{
    if (g_pythonReady)
        return true;
    if (Py_IsInitialized())
        return false; // someone else owns the interpreter; do not share it half-configured
    PyImport_AppendInittab("_ke2host", &initHostModule);

    PyConfig config;
    PyConfig_InitPythonConfig(&config);
    config.install_signal_handlers = 0; // Ctrl+C belongs to the application
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

    bool ok = false;
    if (PyObject *module = PyImport_ImportModule("_ke2host")) {
        PyObject *globals = PyModule_GetDict(module); // borrowed
        if (PyObject *code = Py_CompileString(kBootstrap, "<ke2host>", Py_file_input)) {
            if (PyObject *result = PyEval_EvalCode(code, globals, globals)) {
                Py_DECREF(result);
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
    // Read like the configuration files: a pipe or a device in its place is not opened.
    if (const auto file = IniFile::openForReading(optionVarsFile())) {
        for (const QString &key : file->allKeys()) {
            bool ok = false;
            const int value = file->value(key).toInt(&ok);
            if (ok)
                m_optionVars.insert(key, value);
        }
    }
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(0);
    connect(&m_idleTimer, &QTimer::timeout, this, &PythonHost::runNextIdle);
    g_activeHost = this;
    if (!startPython())
        qWarning("kestrel-editor: the embedded Python interpreter could not be started");
}

PythonHost::~PythonHost()
{
    if (g_activeHost == this)
        g_activeHost = nullptr;
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
    if (!m_callbacksInstalled)
        return;
    if (type == static_cast<int>(MessageType::Error) && !output().isQuiet())
        ++m_errorCount;
    output().deliver(text, type);
}

// ---- MEL -------------------------------------------------------------------------------------

bool PythonHost::answerMel(const QString &command, QVariant &answer)
{
    const QString text = normalisedMel(command);
    if (text == QLatin1String("about -batch") || text == QLatin1String("mayaDpiSetting -q -m")) {
        answer = 0;
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
    m_idle.enqueue({true, command, displayEnabled});
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
    Gil gil;
    void *value = nullptr;
    const bool ok = evaluate(command, &value);
    Py_XDECREF(static_cast<PyObject *>(value));
    return ok;
}

bool PythonHost::executePythonStringList(const QString &command, QStringList &result)
{
    result.clear();
    Gil gil;
    void *raw = nullptr;
    if (!evaluate(command, &raw))
        return false;
    PyObject *value = static_cast<PyObject *>(raw);
    if (!value)
        return true; // statements: nothing to convert
    bool ok = PyList_Check(value) || PyTuple_Check(value);
    if (ok) {
        const Py_ssize_t count = PySequence_Fast_GET_SIZE(value);
        for (Py_ssize_t i = 0; i < count && ok; ++i) {
            QString item;
            ok = fromPython(PySequence_Fast_GET_ITEM(value, i), item);
            result.append(item);
        }
    }
    Py_DECREF(value);
    if (!ok)
        result.clear();
    return ok;
}

bool PythonHost::executePythonString(const QString &command, QString &result)
{
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
    m_idle.enqueue({false, command, displayEnabled});
    m_idleTimer.start();
}

void PythonHost::runNextIdle()
{
    if (m_idle.isEmpty())
        return;
    const IdleCommand command = m_idle.dequeue();
    runIdleCommand(command);
    if (!m_idle.isEmpty())
        m_idleTimer.start();
}

void PythonHost::drainIdleQueue()
{
    m_idleTimer.stop();
    while (!m_idle.isEmpty())
        runIdleCommand(m_idle.dequeue());
}

void PythonHost::runIdleCommand(const IdleCommand &command)
{
    if (command.display) {
        QString echo = command.text;
        if (!echo.endsWith(QLatin1Char('\n')))
            echo += QLatin1Char('\n');
        emitMessage(echo, static_cast<int>(MessageType::History));
    }
    if (command.mel) {
        // The editor's own queries and option echoes run quietly; user MEL cannot run here.
        QVariant answer;
        if (!answerMel(command.text, answer) && command.display)
            emitMessage(melUnavailableMessage(), static_cast<int>(MessageType::Error));
        return;
    }
    if (!g_pythonReady) {
        emitMessage(QStringLiteral("The embedded Python interpreter is not available."),
                    static_cast<int>(MessageType::Error));
        return;
    }
    Gil gil;
    PyObject *text = toPython(command.text);
    PyObject *result = text ? PyObject_CallFunctionObjArgs(g_runSource, text,
                                                           command.display ? Py_True : Py_False,
                                                           nullptr)
                            : nullptr;
    Py_XDECREF(text);
    if (result) {
        Py_DECREF(result);
        return;
    }
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

bool PythonHost::optionVarExists(const QString &name)
{
    return m_optionVars.contains(name);
}

int PythonHost::optionVarInt(const QString &name)
{
    return m_optionVars.value(name);
}

void PythonHost::setOptionVarInt(const QString &name, int value)
{
    m_optionVars.insert(name, value);
    QDir().mkpath(m_prefsRoot);
    IniFile::write(optionVarsFile(), [&](QSettings &file) { file.setValue(name, value); });
}

QString PythonHost::optionVarsFile() const
{
    return m_prefsRoot + QStringLiteral("/optionVars.ini");
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
    m_callbacksInstalled = true;
    return true;
}

bool PythonHost::removeCallbacks()
{
    disconnect(m_quitConnection);
    m_onQuit = nullptr;
    m_callbacksInstalled = false;
    return true;
}

} // namespace ke2

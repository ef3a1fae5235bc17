#include "tests/support/fake_host.h"

namespace ke2::test {

QStringList FakeHost::texts() const
{
    QStringList result;
    for (const Command &command : m_commands)
        result.append(command.text);
    return result;
}

QStringList FakeHost::texts(Kind kind) const
{
    QStringList result;
    for (const Command &command : m_commands)
        if (command.kind == kind)
            result.append(command.text);
    return result;
}

void FakeHost::record(Kind kind, const QString &text, bool display)
{
    m_commands.append(Command{kind, text, display, output().isQuiet()});
}

std::optional<QVariant> FakeHost::lookup(Kind kind, const QString &text)
{
    const auto found = m_answers.constFind(text);
    if (found != m_answers.constEnd())
        return found->isValid() ? std::optional<QVariant>(*found) : std::nullopt;
    if (m_handler)
        return m_handler(kind, text);
    return std::nullopt;
}

template <typename T>
bool FakeHost::answerAs(Kind kind, const QString &command, T &result, int type, int alsoType)
{
    record(kind, command);
    const auto value = lookup(kind, command);
    // An answer of another type fails, as a host command whose result is not of the kind asked.
    if (!value || (value->userType() != type && value->userType() != alsoType))
        return false;
    result = value->value<T>();
    return true;
}

bool FakeHost::executeMel(const QString &command)
{
    record(Kind::Mel, command);
    return lookup(Kind::Mel, command).has_value();
}

bool FakeHost::executeMelString(const QString &command, QString &result)
{
    return answerAs(Kind::Mel, command, result, QMetaType::QString);
}

bool FakeHost::executeMelInt(const QString &command, int &result)
{
    return answerAs(Kind::Mel, command, result, QMetaType::Int, QMetaType::Bool);
}

bool FakeHost::executeMelDouble(const QString &command, double &result)
{
    return answerAs(Kind::Mel, command, result, QMetaType::Double);
}

bool FakeHost::executeMelStringArray(const QString &command, QStringList &result)
{
    return answerAs(Kind::Mel, command, result, QMetaType::QStringList);
}

void FakeHost::executeMelOnIdle(const QString &command, bool displayEnabled)
{
    m_idle.append(Command{Kind::MelOnIdle, command, displayEnabled, output().isQuiet()});
}

bool FakeHost::executePython(const QString &command)
{
    record(Kind::Python, command);
    return lookup(Kind::Python, command).has_value();
}

bool FakeHost::executePythonStringList(const QString &command, QStringList &result)
{
    result.clear();
    return answerAs(Kind::Python, command, result, QMetaType::QStringList);
}

bool FakeHost::executePythonString(const QString &command, QString &result)
{
    return answerAs(Kind::Python, command, result, QMetaType::QString);
}

bool FakeHost::executePythonInt(const QString &command, int &result)
{
    return answerAs(Kind::Python, command, result, QMetaType::Int, QMetaType::Bool);
}

void FakeHost::executePythonOnIdle(const QString &command, bool displayEnabled)
{
    m_idle.append(Command{Kind::PythonOnIdle, command, displayEnabled, output().isQuiet()});
}

int FakeHost::runIdle()
{
    int ran = 0;
    while (!m_idle.isEmpty()) {
        const Command command = m_idle.takeFirst();
        m_commands.append(command);
        ++ran;
    }
    return ran;
}

void FakeHost::displayError(const QString &message)
{
    record(Kind::Error, message);
    emitOutput(message, MessageType::Error);
}

void FakeHost::displayWarning(const QString &message)
{
    record(Kind::Warning, message);
    emitOutput(message, MessageType::Warning);
}

void FakeHost::displayInfo(const QString &message)
{
    record(Kind::Info, message);
    emitOutput(message, MessageType::Info);
}

bool FakeHost::addWidgetToLayout(QWidget *widget, QWidget *parent)
{
    if (!widget || !parent)
        return false;
    addedToLayout.append(qMakePair(widget, parent));
    return true;
}

void FakeHost::emitOutput(const QString &text, int type)
{
    if (m_callbacksInstalled)
        output().deliver(text, type);
}

bool FakeHost::addCallbacks(QuitCallback onQuit)
{
    m_onQuit = std::move(onQuit);
    m_callbacksInstalled = true;
    return true;
}

bool FakeHost::removeCallbacks()
{
    m_onQuit = nullptr;
    m_callbacksInstalled = false;
    return true;
}

void FakeHost::fireQuit()
{
    if (m_onQuit)
        m_onQuit();
}

} // namespace ke2::test

#include "tests/support/temp_prefs.h"

#include "tests/support/fake_host.h"

#include <QtCore/QDir>

namespace ke2::test {

TempPrefs::TempPrefs()
    : m_previous(qgetenv("KE2_PREFS_DIR")), m_hadPrevious(qEnvironmentVariableIsSet("KE2_PREFS_DIR"))
{
    QDir().mkpath(userPrefDir());
    qputenv("KE2_PREFS_DIR", QFile::encodeName(root()));
}

TempPrefs::~TempPrefs()
{
    if (m_hadPrevious)
        qputenv("KE2_PREFS_DIR", m_previous);
    else
        qunsetenv("KE2_PREFS_DIR");
}

void TempPrefs::attach(FakeHost &host) const
{
    host.answer(QStringLiteral("internalVar -userPrefDir"), userPrefDir());
    host.answer(QStringLiteral("internalVar -userScriptDir"), root() + QStringLiteral("/scripts/"));
}

} // namespace ke2::test

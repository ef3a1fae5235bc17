#pragma once

#include "tests/support/test_files.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace ke2::test {

inline QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

inline bool put(const QString &path, const QByteArray &bytes)
{
    return writeFile(path, bytes);
}

// Root ignores file permissions; the permission cases run with an ordinary effective user.
class Unprivileged {
public:
    Unprivileged()
    {
        if (::geteuid() == 0)
            m_switched = ::seteuid(65534) == 0;
    }
    ~Unprivileged()
    {
        if (m_switched && ::seteuid(0) != 0)
            qFatal("could not return to the original user");
    }

private:
    bool m_switched = false;
};

// Files written beyond `bytes` fail with EFBIG instead of growing: a disk that fills up midway.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_previous);
        m_previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_previous;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }

private:
    rlimit m_previous{};
    void (*m_previousHandler)(int) = nullptr;
};

} // namespace ke2::test

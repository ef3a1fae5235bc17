#pragma once

#include <QtCore/QAtomicInteger>
#include <QtCore/QEvent>
#include <QtCore/QObject>

namespace ke2::test {

// Installed as an event filter on an object living in a worker thread: records how deep in that
// thread's stack each queued call reaches it. A call handled inside another one's wait shows up
// deeper than the first.
class StackProbe : public QObject {
public:
    QAtomicInteger<quintptr> lowest{~quintptr(0)};
    QAtomicInteger<quintptr> highest{0};
    QAtomicInt requests{0};
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::MetaCall) {
            volatile char marker = 0;
            const quintptr here = quintptr(&marker);
            for (quintptr low = lowest.loadAcquire(); here < low && !lowest.testAndSetOrdered(low, here);)
                low = lowest.loadAcquire();
            for (quintptr high = highest.loadAcquire(); here > high && !highest.testAndSetOrdered(high, here);)
                high = highest.loadAcquire();
            requests.fetchAndAddOrdered(1);
        }
        return QObject::eventFilter(watched, event);
    }
};

} // namespace ke2::test

#pragma once

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QMessageBox>

#include <functional>
#include <memory>

namespace ke2::test {

// Puts a path into a file dialog's name box as a user typing it would. The dialog leaves the box
// alone while it has the focus (the user is typing), so the focus goes first.
inline void typeFileName(QFileDialog *dialog, const QString &path)
{
    if (QWidget *focus = dialog->focusWidget())
        focus->clearFocus();
    dialog->selectFile(path);
}

// Answers the modal dialogs that come up, as the user would: each answer is a button text for a
// message box, the text for an input dialog, or "path|filter" for a file dialog. Every dialog
// seen is logged as "title: text"; one without an answer left is cancelled.
class DialogAnswers : public QObject {
public:
    explicit DialogAnswers(QStringList answers = {}) : answers(std::move(answers))
    {
        connect(&m_timer, &QTimer::timeout, this, &DialogAnswers::Poll);
        m_timer.start(5);
    }
    QStringList answers;
    QStringList seen;

private:
    void Poll()
    {
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible())
            return;
        const QString answer = answers.isEmpty() ? QString() : answers.takeFirst();
        if (auto *box = qobject_cast<QMessageBox *>(modal)) {
            seen << box->windowTitle() + QStringLiteral(": ") + box->text();
            for (QAbstractButton *button : box->buttons()) {
                if (button->text().remove(QLatin1Char('&')) == answer) {
                    button->click();
                    return;
                }
            }
            box->reject();
        } else if (auto *input = qobject_cast<QInputDialog *>(modal)) {
            seen << input->windowTitle() + QStringLiteral(": ") + input->labelText();
            input->setTextValue(answer);
            answer.isEmpty() ? input->reject() : input->accept();
        } else if (auto *files = qobject_cast<QFileDialog *>(modal)) {
            seen << files->windowTitle();
            const QStringList parts = answer.split(QLatin1Char('|'));
            if (parts.size() == 2)
                files->selectNameFilter(parts.at(1));
            typeFileName(files, parts.first());
            answer.isEmpty() ? files->reject() : static_cast<QDialog *>(files)->accept();
        }
    }

    QTimer m_timer;
};

// Acts on the next modal window of type T once it is up (a file dialog, a message box) as the
// user would. A dialog still open a while after the act (a file dialog whose folder was still
// being read) is acted on again, and one still open after about twenty seconds is rejected, so
// that a dialog that will not close fails the test instead of hanging it.
template <typename T>
struct ModalAnswer {
    std::function<void(T *)> act;
    QPointer<T> window; // the one acted on
    bool acted = false;
};

template <typename T>
void pollModal(std::shared_ptr<ModalAnswer<T>> answer, int attempts)
{
    QTimer::singleShot(10, [answer, attempts] {
        auto *window = qobject_cast<T *>(QApplication::activeModalWidget());
        const bool visible = window && window->isVisible();
        if (!answer->acted) {
            if (visible) {
                answer->acted = true;
                answer->window = window;
                answer->act(window);
            }
            if (attempts > 0)
                pollModal(answer, attempts - 1);
            return;
        }
        if (!visible || window != answer->window)
            return; // it closed
        if (attempts <= 0)
            window->reject();
        else {
            if (attempts % 20 == 0)
                answer->act(window);
            pollModal(answer, attempts - 1);
        }
    });
}

template <typename T>
void whenModal(std::function<void(T *)> act, int attempts = 2000)
{
    auto answer = std::make_shared<ModalAnswer<T>>();
    answer->act = std::move(act);
    pollModal(answer, attempts);
}


} // namespace ke2::test

#pragma once

#include <QtWidgets/QWidget>

class QHBoxLayout;
class QLabel;
class QToolButton;

namespace ke2 {

// One collapsible section of a side bar view: a header (expand arrow, title, tool buttons) over
// a body. The header's click folds the body away; the open state lives in a settings field so
// that it is remembered between runs.
class SubView : public QWidget {
    Q_OBJECT
public:
    // `body` becomes the section's child. `expandedSetting`, when given, is read now and written
    // on every change.
    SubView(const QString &title, QWidget *body, bool *expandedSetting = nullptr, QWidget *parent = nullptr);

    QString Title() const;
    void SetTitle(const QString &title);
    QWidget *Body() const { return m_body; }
    bool IsExpanded() const { return m_expanded; }
    // A button in the header, right-aligned, icon only, with `toolTip`.
    QToolButton *AddButton(const QString &iconPath, const QString &toolTip);
    // Any other widget for the header (a view's own tool row), right-aligned.
    void AddHeaderWidget(QWidget *widget);
    int HeaderHeight() const;
    // The width the header needs to show its whole title and every button.
    int HeaderWidth() const;

public slots:
    void SetExpanded(bool expanded);
    void ToggleExpanded() { SetExpanded(!m_expanded); }

signals:
    void ExpandedChanged(bool expanded);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QWidget *m_header;
    QHBoxLayout *m_headerLayout;
    QToolButton *m_arrow;
    QLabel *m_title;
    QWidget *m_body;
    bool *m_expandedSetting;
    bool m_expanded = true;
};

} // namespace ke2

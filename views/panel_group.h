#pragma once

#include <QtWidgets/QWidget>

class QVBoxLayout;

namespace ke2 {

// The frame around the output pane in the window's splitter: it holds one panel widget and
// tells the window when focus enters it (the moment to settle outside file changes). The panel
// lays out its own header; when the output moves to another edge the window calls
// `UpdateLayout` so a panel can adapt it.
class PanelGroup : public QWidget {
    Q_OBJECT
public:
    explicit PanelGroup(QWidget *parent = nullptr);
    ~PanelGroup() override;

    // Replaces the panel (the old one is deleted).
    void SetPanel(QWidget *panel);
    QWidget *Panel() const { return m_panel; }
    void UpdateLayout(bool vertical, bool topLeft);
    bool IsVertical() const { return m_vertical; }
    bool IsTopLeft() const { return m_topLeft; }

signals:
    void ReceivedFocus();
    void LayoutChanged(bool vertical, bool topLeft);

private:
    void OnFocusChanged(QWidget *old, QWidget *now);

    QVBoxLayout *m_layout;
    QWidget *m_panel = nullptr;
    bool m_vertical = true;
    bool m_topLeft = true;
};

} // namespace ke2

#pragma once

#include <QtCore/QList>
#include <QtWidgets/QWidget>

class QSplitter;

namespace ke2 {

class OpenEditorsView;
class SubView;

// The explorer: collapsible sections stacked in a vertical splitter. It starts with the open
// editors; other views join as sections of their own through AddSection (the outline, the
// workspace). A folded section keeps only its header's height. The splitter's sizes are
// remembered in `explorerState`.
class ExplorerView : public QWidget {
    Q_OBJECT
public:
    explicit ExplorerView(QWidget *parent = nullptr);

    // Takes `section` over and puts it at `position` (-1: last). `visibleSetting`, when given,
    // says whether the section is shown at all and is offered in the explorer's context menu.
    void AddSection(SubView *section, int position = -1, bool *visibleSetting = nullptr);
    QList<SubView *> Sections() const;
    OpenEditorsView *OpenEditors() const { return m_openEditors; }

    void SaveState() const;
    void RestoreState();

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void FitSection(SubView *section);

    QSplitter *m_splitter;
    OpenEditorsView *m_openEditors;
    QList<QPair<SubView *, bool *>> m_visibility;
};

} // namespace ke2

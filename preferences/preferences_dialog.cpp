#include "preferences/preferences_dialog.h"

#include "config/key_bindings_notifier.h"
#include "output/output_highlighting_widget.h"
#include "output/output_view.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QStackedWidget>

#include <algorithm>

namespace ke2 {

#define KE2_CHECK(layout, page, text, key) AddCheck(layout, page, QStringLiteral(text), &Settings::key, #key)

namespace {

const char *const pageTitles[] = {"General", "Keyboard", "Tabs and Spacing", "Fonts and Colors",
                                  "Code Editor", "Output", "MEL", "Python"};

QVBoxLayout *columnOf(QWidget *widget)
{
    auto *layout = new QVBoxLayout(widget);
    layout->setContentsMargins(8, 4, 8, 4);
    return layout;
}

} // namespace

PreferencesDialog::PreferencesDialog(QWidget *parent, int page)
    : QDialog(parent), m_bindings(KeyBindings::instance())
{
    setObjectName(QStringLiteral("PreferencesDialog"));
    setWindowTitle(QStringLiteral("Preferences"));
    const Settings &settings = Settings::instance();
    m_roles[CODE_EDITOR_SET] = ColorScheme::instance().codeEditorRoles;
    m_roles[OUTPUT_SET] = ColorScheme::instance().outputRoles;
    ReadTabsAndFonts(settings);

    m_search = new QLineEdit(this);
    m_search->setObjectName(QStringLiteral("searchSettings"));
    m_search->setPlaceholderText(QStringLiteral("Search settings"));
    m_search->setClearButtonEnabled(true);

    m_pageList = new QListWidget(this);
    m_pageList->setObjectName(QStringLiteral("menuListWdg"));
    m_pageList->setFixedWidth(170);
    m_pageList->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pages = new QStackedWidget(this);

    AddPage(GENERAL_PAGE, "generalPage", CreateGeneralPage());
    AddPage(KEYBOARD_PAGE, "keyboardPage", CreateKeyboardPage());
    AddPage(TABS_PAGE, "tabsSettingsPage", CreateTabsPage());
    AddPage(FONTS_AND_COLORS_PAGE, "fontAndColorPage", CreateFontsAndColorsPage());
    AddPage(CODE_EDITOR_PAGE, "codeEditorPage", CreateCodeEditorPage());
    AddPage(OUTPUT_PAGE, "outputPage", CreateOutputPage());
    AddPage(MEL_PAGE, "melSettingsPage", CreateMelPage());
    AddPage(PYTHON_PAGE, "pythonSettingsPage", CreatePythonPage());

    m_apply = new QPushButton(QStringLiteral("Apply"), this);
    m_ok = new QPushButton(QStringLiteral("OK"), this);
    m_cancel = new QPushButton(QStringLiteral("Cancel"), this);
    m_ok->setDefault(true);
    // Enter in a field must not close the dialog behind the user's back.
    for (QPushButton *button : {m_apply, m_ok, m_cancel})
        button->setAutoDefault(false);

    auto *middle = new QHBoxLayout;
    middle->addWidget(m_pageList);
    middle->addWidget(m_pages, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_apply);
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_search);
    layout->addLayout(middle, 1);
    layout->addLayout(buttons);

    connect(m_pageList, &QListWidget::currentRowChanged, m_pages, &QStackedWidget::setCurrentIndex);
    connect(m_pageList, &QListWidget::currentRowChanged, this, &PreferencesDialog::OnCurrentPageChanged);
    connect(m_search, &QLineEdit::textChanged, this, &PreferencesDialog::FilterSettings);
    connect(m_apply, &QPushButton::clicked, this, &PreferencesDialog::ApplySettings);
    connect(m_ok, &QPushButton::clicked, this, &PreferencesDialog::OnOk);
    connect(m_cancel, &QPushButton::clicked, this, &PreferencesDialog::reject);

    const int index = page - firstPageNumber;
    m_pageList->setCurrentRow(index >= 0 && index < PAGE_COUNT ? index : 0);
    // Small enough for a 1366x768 screen with its task bar; the longer pages scroll.
    resize(940, 640);
    m_search->setFocus();
}

void PreferencesDialog::AddPage(Page page, const char *objectName, QWidget *content)
{
    content->setObjectName(QString::fromLatin1(objectName));
    auto *scroll = new QScrollArea(m_pages);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);
    m_pages->addWidget(scroll);
    m_pageList->addItem(QString::fromLatin1(pageTitles[page]));
}

QGroupBox *PreferencesDialog::AddGroup(QBoxLayout *layout, const QString &title)
{
    auto *group = new QGroupBox(title);
    group->setObjectName(title);
    new QVBoxLayout(group);
    layout->addWidget(group);
    return group;
}

void PreferencesDialog::AddSearchEntry(Page page, QWidget *row, const QString &text)
{
    m_searchEntries.append({page, row, text});
}

QCheckBox *PreferencesDialog::AddCheck(QBoxLayout *layout, Page page, const QString &text, bool Settings::*field,
                                       const char *key)
{
    auto *box = new QCheckBox(text);
    box->setObjectName(QString::fromLatin1(key));
    box->setChecked(Settings::instance().*field);
    layout->addWidget(box);
    m_bools.append({box, field});
    AddSearchEntry(page, box, text);
    return box;
}

QLineEdit *PreferencesDialog::AddLineEdit(QBoxLayout *layout, Page page, const QString &label,
                                          QString Settings::*field, const char *key, QPushButton **browse,
                                          QWidget *extra)
{
    auto *row = new QWidget;
    auto *rowLayout = new QVBoxLayout(row);
    rowLayout->setContentsMargins(0, 0, 0, 0);
    rowLayout->addWidget(new QLabel(label));
    auto *line = new QHBoxLayout;
    auto *edit = new QLineEdit(Settings::instance().*field);
    edit->setObjectName(QString::fromLatin1(key));
    line->addWidget(edit, 1);
    if (browse) {
        *browse = new QPushButton(QStringLiteral("..."));
        (*browse)->setFixedWidth(32);
        line->addWidget(*browse);
    }
    if (extra)
        line->addWidget(extra);
    rowLayout->addLayout(line);
    layout->addWidget(row);
    m_texts.append({edit, field});
    AddSearchEntry(page, row, label);
    return edit;
}

// --- plain option pages ----------------------------------------------------------------------

QWidget *PreferencesDialog::CreateGeneralPage()
{
    auto *page = new QWidget;
    QVBoxLayout *layout = columnOf(page);
    QBoxLayout *main = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Main Window"))->layout());
    KE2_CHECK(main, GENERAL_PAGE, "Save all on execute", saveAllOnExecute);
    KE2_CHECK(main, GENERAL_PAGE, "Save all on exit", saveAllOnExit);
    KE2_CHECK(main, GENERAL_PAGE, "Check for modified files", checkForModifiedFiles);
    KE2_CHECK(main, GENERAL_PAGE, "Override Script Editor button", overrideScriptEditorButton);
    KE2_CHECK(main, GENERAL_PAGE, "Display confirmation dialog when closing an internal buffer",
              showConfirmDialogOnInternalBufferClose);
    KE2_CHECK(main, GENERAL_PAGE, "Display unsaved files dialog when exiting Maya", showUnsavedFileDialogOnMayaExit);
    KE2_CHECK(main, GENERAL_PAGE, "Always use UTF-8 file encoding for read/write operations (overrides system)",
              utf8FileEncodingForReadWrite);
    QBoxLayout *tabBar = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Tab Bar"))->layout());
    KE2_CHECK(tabBar, GENERAL_PAGE, "Show Tab Bar", showTabBar);
    KE2_CHECK(tabBar, GENERAL_PAGE, "Show close button on each tab", showCloseButtonOnTabs);
    KE2_CHECK(tabBar, GENERAL_PAGE, "Show mini toolbar", showTabBarMiniToolbar);
    KE2_CHECK(tabBar, GENERAL_PAGE, "Mouse wheel changes active tab", mouseWheelChangesActiveTab);
    KE2_CHECK(tabBar, GENERAL_PAGE, "Lock tabs", lockTabPositions);
    layout->addStretch(1);
    return page;
}

QWidget *PreferencesDialog::CreateCodeEditorPage()
{
    auto *page = new QWidget;
    QVBoxLayout *layout = columnOf(page);
    QBoxLayout *group = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Code Editor"))->layout());
    KE2_CHECK(group, CODE_EDITOR_PAGE, "Backspace to tab stop", codeEditorBackspaceToTabStop);
    KE2_CHECK(group, CODE_EDITOR_PAGE, "Display Indentation Guides", codeEditorDisplayIndentationGuides);
    KE2_CHECK(group, CODE_EDITOR_PAGE, "Ctrl+Mouse Wheel changes font size", codeEditorMouseWheelChangesFontSize);
    KE2_CHECK(group, CODE_EDITOR_PAGE, "Limit matching selection highlight to words",
              codeEditorMatchedSelectionWordsOnly);
    // Also in the View menu; here it is found with the other editor options.
    KE2_CHECK(group, CODE_EDITOR_PAGE, "Word wrap", wordWrapEnabled);
    layout->addStretch(1);
    return page;
}

QWidget *PreferencesDialog::CreateOutputPage()
{
    auto *page = new QWidget;
    QVBoxLayout *layout = columnOf(page);
    QBoxLayout *group = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Output"))->layout());

    auto *sizeRow = new QWidget;
    auto *sizeLayout = new QHBoxLayout(sizeRow);
    sizeLayout->setContentsMargins(0, 0, 0, 0);
    sizeLayout->addWidget(new QLabel(QStringLiteral("Buffer Size")));
    m_bufferSize = new QSpinBox;
    m_bufferSize->setObjectName(QStringLiteral("outputBufferSize"));
    m_bufferSize->setRange(1, Settings::maximumOutputBufferSize);
    m_bufferSize->setSingleStep(100);
    m_bufferSize->setSuffix(QStringLiteral(" lines"));
    m_bufferSize->setValue(Settings::clampOutputBufferSize(Settings::instance().outputBufferSize));
    sizeLayout->addWidget(m_bufferSize);
    sizeLayout->addStretch(1);
    group->addWidget(sizeRow);
    AddSearchEntry(OUTPUT_PAGE, sizeRow, QStringLiteral("Buffer Size"));

    KE2_CHECK(group, OUTPUT_PAGE, "Ctrl+Mouse Wheel changes font size", outputMouseWheelChangesFontSize);
    KE2_CHECK(group, OUTPUT_PAGE, "Limit matching selection highlight to words", outputMatchedSelectionWordsOnly);
    KE2_CHECK(group, OUTPUT_PAGE, "Double-click selection includes leading $ (e.g. MEL variables)",
              outputDoubleClickIncludesDollarSign);
    KE2_CHECK(group, OUTPUT_PAGE, "Disable Echo All Commands on startup", outputDisableEchoAllOnStartup);
    // The "Minimal" verbosity of the output's header, kept here with the other output options.
    KE2_CHECK(group, OUTPUT_PAGE, "Minimal trace (hide the echo of executed code)", outputMinimalTrace);
    KE2_CHECK(group, OUTPUT_PAGE, "Word wrap", outputWordWrapEnabled);

    QGroupBox *highlighting = AddGroup(layout, QStringLiteral("Highlighting"));
    auto *highlightingLayout = static_cast<QBoxLayout *>(highlighting->layout());
    m_highlightingEnabled = KE2_CHECK(highlightingLayout, OUTPUT_PAGE, "Enable Highlighting",
                                      outputSyntaxHighlightingEnabled);
    m_rulesWidget = new OutputHighlightingWidget;
    m_rulesWidget->setObjectName(QStringLiteral("outputHighlightingRules"));
    m_rulesWidget->LoadRules(ColorScheme::instance().outputHighlightRules);
    m_rulesWidget->setMinimumHeight(160);
    highlightingLayout->addWidget(m_rulesWidget, 1);
    AddSearchEntry(OUTPUT_PAGE, m_rulesWidget, QStringLiteral("Highlighting rules"));
    connect(m_highlightingEnabled, &QCheckBox::toggled, this,
            &PreferencesDialog::UpdateOutputSyntaxHighlightingEnabled);
    UpdateOutputSyntaxHighlightingEnabled();
    layout->addStretch(1);
    return page;
}

void PreferencesDialog::UpdateOutputSyntaxHighlightingEnabled()
{
    m_rulesWidget->setEnabled(m_highlightingEnabled->isChecked());
}

void PreferencesDialog::AddLanguageOptions(QBoxLayout *layout, Page page, const QString &prefix)
{
    const bool mel = prefix == QLatin1String("mel");
    auto check = [&](const char *text, bool Settings::*melField, bool Settings::*pythonField, const char *suffix) {
        const QByteArray key = prefix.toLatin1() + suffix;
        return AddCheck(layout, page, QString::fromLatin1(text), mel ? melField : pythonField, key.constData());
    };
    check("Display errors and warnings", &Settings::melDisplayErrors, &Settings::pythonDisplayErrors, "DisplayErrors");
    check("Smart indent (requires auto-indent)", &Settings::melSmartIndent, &Settings::pythonSmartIndent,
          "SmartIndent");
    check("Indent to bracket (requires auto-indent)", &Settings::melIndentToParentheses,
          &Settings::pythonIndentToParentheses, "IndentToParentheses");
    check("Insert closing bracket", &Settings::melInsertClosingParentheses, &Settings::pythonInsertClosingParentheses,
          "InsertClosingParentheses");
    check("Insert closing quotes", &Settings::melInsertClosingQuotes, &Settings::pythonInsertClosingQuotes,
          "InsertClosingQuotes");
    check("Trim trailing whitespace on save", &Settings::melTrimTrailingWhiteSpacesOnSave,
          &Settings::pythonTrimTrailingWhiteSpacesOnSave, "TrimTrailingWhiteSpacesOnSave");
    check("Ensure newline at end of file on save", &Settings::melEnsureNewLineAtEofOnSave,
          &Settings::pythonEnsureNewLineAtEofOnSave, "EnsureNewLineAtEofOnSave");
    // A MEL option only: Python names carry no "$", and the settings have no Python key for it.
    if (mel)
        check("Double-click selection includes leading $", &Settings::melDoubleClickIncludesDollarSign,
              &Settings::melDoubleClickIncludesDollarSign, "DoubleClickIncludesDollarSign");
    check("Auto-complete updates Quick Help", &Settings::melAutoCompleteToQuickHelp,
          &Settings::pythonAutoCompleteToQuickHelp, "AutoCompleteToQuickHelp");
}

QWidget *PreferencesDialog::CreateMelPage()
{
    auto *page = new QWidget;
    QVBoxLayout *layout = columnOf(page);
    AddLanguageOptions(static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("MEL"))->layout()), MEL_PAGE,
                       QStringLiteral("mel"));
    QBoxLayout *complete = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Auto-Complete"))->layout());
    KE2_CHECK(complete, MEL_PAGE, "CTRL + Space", melCompleteOnUser);
    KE2_CHECK(complete, MEL_PAGE, "On  letters  and  '_' ", melCompleteOnLetters);
    KE2_CHECK(complete, MEL_PAGE, "Command flags after '-' (needs a Maya session)", melCompleteFlags);
    QBoxLayout *checks = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Code Checks"))->layout());
    KE2_CHECK(checks, MEL_PAGE, "Warn about mistakes in MEL scripts", melLintEnabled);
    KE2_CHECK(checks, MEL_PAGE, "Show flag and procedure signatures in the status bar", melSignatureHelp);
    layout->addStretch(1);
    return page;
}

// --- search ----------------------------------------------------------------------------------

void PreferencesDialog::FilterSettings(const QString &text)
{
    const QString wanted = text.trimmed();
    bool pageMatches[PAGE_COUNT] = {};
    for (int page = 0; page < PAGE_COUNT; ++page)
        pageMatches[page] = wanted.isEmpty() || QString::fromLatin1(pageTitles[page]).contains(wanted, Qt::CaseInsensitive);
    bool anyRow[PAGE_COUNT] = {};
    for (const SearchEntry &entry : qAsConst(m_searchEntries)) {
        const bool shown = pageMatches[entry.page] || entry.text.contains(wanted, Qt::CaseInsensitive);
        entry.row->setVisible(shown);
        anyRow[entry.page] = anyRow[entry.page] || shown;
    }
    // Commands and colour roles are settings too: their lists are filtered the same way.
    for (QListWidget *list : {m_commandList, m_roleList}) {
        const Page page = list == m_commandList ? KEYBOARD_PAGE : FONTS_AND_COLORS_PAGE;
        int firstItem = -1;
        for (int i = 0; i < list->count(); ++i) {
            QListWidgetItem *item = list->item(i);
            const bool shown = pageMatches[page] || item->text().contains(wanted, Qt::CaseInsensitive);
            item->setHidden(!shown);
            anyRow[page] = anyRow[page] || shown;
            if (shown && firstItem < 0)
                firstItem = i;
        }
        // The controls beside a list always belong to an entry the user can see.
        if (firstItem >= 0 && (!list->currentItem() || list->currentItem()->isHidden()))
            list->setCurrentRow(firstItem);
    }
    // A group whose settings are all hidden goes too.
    for (QGroupBox *group : findChildren<QGroupBox *>()) {
        bool any = false;
        for (const SearchEntry &entry : qAsConst(m_searchEntries))
            any = any || (group->isAncestorOf(entry.row) && !entry.row->isHidden());
        const bool hasEntries = std::any_of(m_searchEntries.cbegin(), m_searchEntries.cend(),
                                            [group](const SearchEntry &entry) { return group->isAncestorOf(entry.row); });
        if (hasEntries)
            group->setVisible(any);
    }
    int firstShown = -1;
    for (int page = 0; page < PAGE_COUNT; ++page) {
        const bool shown = pageMatches[page] || anyRow[page];
        m_pageList->item(page)->setHidden(!shown);
        if (shown && firstShown < 0)
            firstShown = page;
    }
    const int current = m_pageList->currentRow();
    if ((current < 0 || m_pageList->item(current)->isHidden()) && firstShown >= 0)
        m_pageList->setCurrentRow(firstShown);
}

void PreferencesDialog::OnCurrentPageChanged(int row)
{
    if (row == KEYBOARD_PAGE && m_commandList->currentRow() < 0 && m_commandList->count() > 0)
        m_commandList->setCurrentRow(0);
}

// --- Apply -----------------------------------------------------------------------------------

void PreferencesDialog::ApplySettings()
{
    Settings &settings = Settings::instance();
    const bool wasMinimal = settings.outputMinimalTrace;
    for (const BoolControl &control : qAsConst(m_bools))
        settings.*(control.field) = control.box->isChecked();
    for (const TextControl &control : qAsConst(m_texts))
        settings.*(control.field) = control.edit->text();
    settings.outputBufferSize = m_bufferSize->value();
    StoreTabsControls();
    WriteTabsAndFonts(settings);
    // Minimal trace is one of the verbosity levels: choosing it here turns echoing everything off
    // as choosing it in the output's header does.
    if (settings.outputMinimalTrace && !wasMinimal)
        OutputView::ApplyVerbosity(OutputView::Minimal);

    ColorScheme &scheme = ColorScheme::instance();
    scheme.codeEditorRoles = m_roles[CODE_EDITOR_SET];
    scheme.outputRoles = m_roles[OUTPUT_SET];
    scheme.outputHighlightRules = m_rulesWidget->Rules();

    KeyBindings &live = KeyBindings::instance();
    for (const ActionBinding &binding : m_bindings.entries())
        live.setShortcuts(binding.number, binding.shortcuts);
    m_applyWarnings = live.detectDuplicates();
    const int selected = m_commandList->currentRow();
    m_bindings = live;
    FillKeyBindingList();
    m_commandList->setCurrentRow(selected);
    emit KeyBindingsNotifier::instance().ShortcutsChanged();

    emit PreferencesModified();
    // Applying may have changed a value (pylint switched off for a path that does not exist):
    // the dialog shows what is in force.
    for (const BoolControl &control : qAsConst(m_bools))
        control.box->setChecked(settings.*(control.field));

    if (!m_applyWarnings.isEmpty()) {
        // The later of two entries lost the key; show where, and let the user choose again.
        m_pageList->setCurrentRow(KEYBOARD_PAGE);
        QMessageBox::warning(this, QStringLiteral("Keyboard"), m_applyWarnings.join(QLatin1Char('\n')));
    }
}

void PreferencesDialog::OnOk()
{
    ApplySettings();
    if (m_applyWarnings.isEmpty())
        accept();
}

} // namespace ke2

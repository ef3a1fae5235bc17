#pragma once

#include "config/color_scheme.h"
#include "config/key_bindings.h"
#include "config/settings.h"

#include <QtCore/QVector>
#include <QtGui/QFont>
#include <QtWidgets/QDialog>

class QBoxLayout;
class QCheckBox;
class QComboBox;
class QFontComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QStackedWidget;

namespace ke2 {

class OutputHighlightingWidget;
class ShortcutEdit;

// Edits the preferences, the colour roles and the key bindings. Everything works on copies taken
// when the dialog opens: nothing reaches the settings, the colour scheme or the binding table
// until Apply or OK, so Cancel leaves memory and files exactly as they were. Apply announces
// itself through PreferencesModified(), which the window answers by re-applying every part.
//
// Each control carries the name of the key it edits as its object name.
//
// The implementation is split by page: preferences_dialog.cpp (frame, search, the plain option
// pages, Apply), preferences_keyboard.cpp, preferences_fonts_colors.cpp and
// preferences_tabs_pylint.cpp.
class PreferencesDialog : public QDialog {
    Q_OBJECT

public:
    enum Page {
        GENERAL_PAGE = 0,
        KEYBOARD_PAGE,
        TABS_PAGE,
        FONTS_AND_COLORS_PAGE,
        CODE_EDITOR_PAGE,
        OUTPUT_PAGE,
        MEL_PAGE,
        PYTHON_PAGE,
        PAGE_COUNT
    };
    // The window names pages by number: this one is the general page, the others follow in order.
    static constexpr int firstPageNumber = 10;
    // The two colour sets of the fonts and colours page.
    enum ColorSet { CODE_EDITOR_SET = 0, OUTPUT_SET = 1 };

    explicit PreferencesDialog(QWidget *parent = nullptr, int page = firstPageNumber);

    QListWidget *PageList() const { return m_pageList; }
    QStackedWidget *PageStack() const { return m_pages; }
    QLineEdit *SearchBox() const { return m_search; }
    QPushButton *ApplyButton() const { return m_apply; }
    QPushButton *OkButton() const { return m_ok; }
    QPushButton *CancelButton() const { return m_cancel; }
    OutputHighlightingWidget *HighlightingWidget() const { return m_rulesWidget; }

    const KeyBindings &WorkingBindings() const { return m_bindings; }
    const ColorRoleTable &WorkingRoles(ColorSet set) const { return m_roles[set]; }
    // The duplicate keys the last Apply found (and took off the later entries); empty when it
    // went through cleanly. While there are any, OK leaves the dialog open.
    const QStringList &ApplyWarnings() const { return m_applyWarnings; }
    // The sample as rich text, with the foreground as "#rrggbb".
    static QString SampleText(const QColor &foreground);

signals:
    void PreferencesModified();

public slots:
    void ApplySettings();
    void OnOk();
    // Shows only the settings, commands and colour roles whose name contains `text`.
    void FilterSettings(const QString &text);
    void OnCurrentPageChanged(int row);

    // Keyboard.
    void OnSelectedKeyBindingItemChanged();
    void UpdateExistingKeyBindingDisplay(const QString &text);
    void AssignKeyBinding();
    void RemoveKeyBinding();
    void RestoreDefaultKeyBindings();

    // Tabs and spacing.
    void OnTabsLanguageChanged(int language);
    void OnTabsUseDefaultsToggled(bool useDefaults);
    void OnTabsInsertSpacesChanged();

    // Fonts and colours.
    void RefreshFontsAndColorsPage(int set);
    void OnFontChanged(const QFont &font);
    void OnFontSizeChanged(int index);
    void SetFixedWidthFonts(bool fixedOnly);
    void DefaultFontsAndColors();
    void OnHighlightItemChanged();
    void OnHighlightModifierChanged();
    void SelectForegroundColor();
    void SelectBackgroundColor();

    // Output and Python.
    void UpdateOutputSyntaxHighlightingEnabled();
    void SelectPylintPath();
    void SelectPylintConfigPath();
    void GeneratePylintConfig();

private:
    // One searchable setting: the widget that shows it and the text it is found by.
    struct SearchEntry {
        int page;
        QWidget *row;
        QString text;
    };
    struct BoolControl {
        QCheckBox *box;
        bool Settings::*field;
    };
    struct TextControl {
        QLineEdit *edit;
        QString Settings::*field;
    };
    // The indentation of one language as the tabs page edits it.
    struct TabsValues {
        bool useDefaults = true;
        int size = 4;
        bool insertSpaces = true;
        bool autoIndent = true;
    };

    void AddPage(Page page, const char *objectName, QWidget *content);
    QGroupBox *AddGroup(QBoxLayout *layout, const QString &title);
    QCheckBox *AddCheck(QBoxLayout *layout, Page page, const QString &text, bool Settings::*field, const char *key);
    QLineEdit *AddLineEdit(QBoxLayout *layout, Page page, const QString &label, QString Settings::*field,
                           const char *key, QPushButton **browse = nullptr, QWidget *extra = nullptr);
    void AddSearchEntry(Page page, QWidget *row, const QString &text);

    QWidget *CreateGeneralPage();
    QWidget *CreateKeyboardPage();
    QWidget *CreateTabsPage();
    QWidget *CreateFontsAndColorsPage();
    QWidget *CreateCodeEditorPage();
    QWidget *CreateOutputPage();
    QWidget *CreateMelPage();
    QWidget *CreatePythonPage();
    void AddLanguageOptions(QBoxLayout *layout, Page page, const QString &prefix);

    // Keyboard page helpers.
    void FillKeyBindingList();
    ActionBinding *SelectedBinding();
    void ShowAssignedShortcuts();

    // Tabs page helpers.
    void LoadTabsControls();
    void StoreTabsControls();

    // Fonts and colours page helpers.
    ColorRole *SelectedRole();
    void LoadRoleControls();
    void UpdateSample();
    void FillFontSizes(int current);
    bool PickColor(QColor &color);

    // Copies the tabs and fonts of the settings record into the working values and back.
    void ReadTabsAndFonts(const Settings &settings);
    void WriteTabsAndFonts(Settings &settings) const;

    QLineEdit *m_search = nullptr;
    QListWidget *m_pageList = nullptr;
    QStackedWidget *m_pages = nullptr;
    QPushButton *m_apply = nullptr;
    QPushButton *m_ok = nullptr;
    QPushButton *m_cancel = nullptr;
    QVector<SearchEntry> m_searchEntries;
    QVector<BoolControl> m_bools;
    QVector<TextControl> m_texts;
    QSpinBox *m_bufferSize = nullptr;
    QStringList m_applyWarnings;

    // Keyboard.
    KeyBindings m_bindings;
    QListWidget *m_commandList = nullptr;
    QListWidget *m_assigned = nullptr;
    QPushButton *m_remove = nullptr;
    ShortcutEdit *m_shortcutEdit = nullptr;
    QPushButton *m_assign = nullptr;
    QLabel *m_usedBy = nullptr;
    QPushButton *m_restoreBindings = nullptr;

    // Tabs and spacing: default, MEL, Python.
    TabsValues m_tabs[3];
    QComboBox *m_tabsLanguage = nullptr;
    QCheckBox *m_tabsUseDefaults = nullptr;
    QSpinBox *m_tabsSize = nullptr;
    QCheckBox *m_tabsInsertSpaces = nullptr;
    QCheckBox *m_tabsAutoIndent = nullptr;
    bool m_loadingTabs = false;

    // Fonts and colours: code editor, output.
    ColorRoleTable m_roles[2];
    QFont m_fonts[2];
    QComboBox *m_colorSet = nullptr;
    QFontComboBox *m_fontFamily = nullptr;
    QComboBox *m_fontSize = nullptr;
    QCheckBox *m_fixedWidthOnly = nullptr;
    QListWidget *m_roleList = nullptr;
    QPushButton *m_foreground = nullptr;
    QPushButton *m_background = nullptr;
    QCheckBox *m_bold = nullptr;
    QCheckBox *m_italic = nullptr;
    QCheckBox *m_underline = nullptr;
    QLabel *m_sample = nullptr;
    QPushButton *m_defaultColors = nullptr;
    bool m_loadingColors = false;

    // Output and Python.
    QCheckBox *m_highlightingEnabled = nullptr;
    OutputHighlightingWidget *m_rulesWidget = nullptr;
    QLineEdit *m_pylintPath = nullptr;
    QLineEdit *m_pylintConfigPath = nullptr;
    QPushButton *m_generatePylintConfig = nullptr;
};

} // namespace ke2

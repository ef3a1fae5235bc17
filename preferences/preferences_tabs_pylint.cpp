// The tabs and spacing page (one set of controls for three languages) and the Python page with
// its pylint paths.
#include "preferences/preferences_dialog.h"

#include "config/user_directories.h"
#include "plugin/host_bridge.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

namespace ke2 {
namespace {

enum TabsLanguage { TABS_DEFAULT = 0, TABS_MEL = 1, TABS_PYTHON = 2 };
constexpr int pylintTimeout = 5000; // ms
// Far beyond any indentation in use; the settings allow more only for hand-edited files.
constexpr int largestTabSize = 32;

} // namespace

// --- tabs and spacing ------------------------------------------------------------------------

void PreferencesDialog::ReadTabsAndFonts(const Settings &settings)
{
    m_tabs[TABS_DEFAULT] = {false, settings.tabsSizeDefault, settings.tabsInsertSpacesDefault,
                            settings.tabsAutoIndentDefault};
    m_tabs[TABS_MEL] = {settings.tabsUseDefaultsMel, settings.tabsSizeMel, settings.tabsInsertSpacesMel,
                        settings.tabsAutoIndentMel};
    m_tabs[TABS_PYTHON] = {settings.tabsUseDefaultsPython, settings.tabsSizePython, settings.tabsInsertSpacesPython,
                           settings.tabsAutoIndentPython};
    // The fonts as they are painted: a family that is not installed shows as its fallback.
    m_fonts[CODE_EDITOR_SET] = Settings::fontInUse(settings.codeEditorFont);
    m_fonts[OUTPUT_SET] = Settings::fontInUse(settings.outputFont);
}

void PreferencesDialog::WriteTabsAndFonts(Settings &settings) const
{
    settings.tabsSizeDefault = m_tabs[TABS_DEFAULT].size;
    settings.tabsInsertSpacesDefault = m_tabs[TABS_DEFAULT].insertSpaces;
    settings.tabsAutoIndentDefault = m_tabs[TABS_DEFAULT].autoIndent;
    settings.tabsUseDefaultsMel = m_tabs[TABS_MEL].useDefaults;
    settings.tabsSizeMel = m_tabs[TABS_MEL].size;
    settings.tabsInsertSpacesMel = m_tabs[TABS_MEL].insertSpaces;
    settings.tabsAutoIndentMel = m_tabs[TABS_MEL].autoIndent;
    settings.tabsUseDefaultsPython = m_tabs[TABS_PYTHON].useDefaults;
    settings.tabsSizePython = m_tabs[TABS_PYTHON].size;
    settings.tabsInsertSpacesPython = m_tabs[TABS_PYTHON].insertSpaces;
    settings.tabsAutoIndentPython = m_tabs[TABS_PYTHON].autoIndent;
    // Family and size only: the fonts keep their style hint. A family shown as its fallback and
    // left alone stays as the user's file names it.
    const auto writeFont = [](QFont &font, const QFont &edited) {
        if (edited.family() != Settings::fontInUse(font).family())
            font.setFamily(edited.family());
        font.setPointSize(edited.pointSize());
    };
    writeFont(settings.codeEditorFont, m_fonts[CODE_EDITOR_SET]);
    writeFont(settings.outputFont, m_fonts[OUTPUT_SET]);
}

QWidget *PreferencesDialog::CreateTabsPage()
{
    auto *page = new QWidget;
    m_tabsLanguage = new QComboBox;
    m_tabsLanguage->setObjectName(QStringLiteral("tabsLanguage"));
    m_tabsLanguage->addItems({QStringLiteral("Default"), QStringLiteral("MEL"), QStringLiteral("Python")});
    m_tabsUseDefaults = new QCheckBox(QStringLiteral("Use Default"));
    m_tabsUseDefaults->setObjectName(QStringLiteral("tabsUseDefaults"));
    m_tabsSize = new QSpinBox;
    m_tabsSize->setObjectName(QStringLiteral("tabsSize"));
    m_tabsSize->setRange(1, largestTabSize);
    m_tabsInsertSpaces = new QCheckBox(QStringLiteral("Replace tabs with spaces"));
    m_tabsInsertSpaces->setObjectName(QStringLiteral("tabsInsertSpaces"));
    m_tabsAutoIndent = new QCheckBox(QStringLiteral("Auto-indent"));
    m_tabsAutoIndent->setObjectName(QStringLiteral("tabsAutoIndent"));

    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(8, 4, 8, 4);
    auto *group = new QGroupBox(QStringLiteral("Tabs and Spacing"));
    auto *grid = new QGridLayout(group);
    grid->addWidget(new QLabel(QStringLiteral("Language")), 0, 0);
    grid->addWidget(m_tabsLanguage, 0, 1);
    grid->addWidget(m_tabsUseDefaults, 1, 1);
    grid->addWidget(new QLabel(QStringLiteral("Tab Size:")), 2, 0);
    grid->addWidget(m_tabsSize, 2, 1);
    grid->addWidget(m_tabsInsertSpaces, 3, 1);
    grid->addWidget(m_tabsAutoIndent, 4, 1);
    grid->setColumnStretch(2, 1);
    layout->addWidget(group);
    layout->addStretch(1);
    AddSearchEntry(TABS_PAGE, group,
                   QStringLiteral("Language Use Default Tab Size Replace tabs with spaces Auto-indent indentation"));

    connect(m_tabsLanguage, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &PreferencesDialog::OnTabsLanguageChanged);
    connect(m_tabsUseDefaults, &QCheckBox::toggled, this, &PreferencesDialog::OnTabsUseDefaultsToggled);
    connect(m_tabsSize, qOverload<int>(&QSpinBox::valueChanged), this, &PreferencesDialog::OnTabsInsertSpacesChanged);
    connect(m_tabsInsertSpaces, &QCheckBox::toggled, this, &PreferencesDialog::OnTabsInsertSpacesChanged);
    connect(m_tabsAutoIndent, &QCheckBox::toggled, this, &PreferencesDialog::OnTabsInsertSpacesChanged);
    LoadTabsControls();
    return page;
}

void PreferencesDialog::LoadTabsControls()
{
    const int language = m_tabsLanguage->currentIndex();
    const TabsValues &own = m_tabs[language];
    // A language that follows the defaults shows them, greyed.
    const bool followsDefaults = language != TABS_DEFAULT && own.useDefaults;
    const TabsValues &shown = followsDefaults ? m_tabs[TABS_DEFAULT] : own;
    m_loadingTabs = true;
    m_tabsUseDefaults->setEnabled(language != TABS_DEFAULT);
    m_tabsUseDefaults->setChecked(followsDefaults);
    m_tabsSize->setValue(Settings::clampTabSize(shown.size));
    m_tabsInsertSpaces->setChecked(shown.insertSpaces);
    m_tabsAutoIndent->setChecked(shown.autoIndent);
    for (QWidget *widget : std::initializer_list<QWidget *>{m_tabsSize, m_tabsInsertSpaces, m_tabsAutoIndent})
        widget->setEnabled(!followsDefaults);
    m_loadingTabs = false;
}

void PreferencesDialog::StoreTabsControls()
{
    const int language = m_tabsLanguage->currentIndex();
    TabsValues &own = m_tabs[language];
    if (language != TABS_DEFAULT)
        own.useDefaults = m_tabsUseDefaults->isChecked();
    if (language != TABS_DEFAULT && own.useDefaults)
        return;
    own.size = m_tabsSize->value();
    own.insertSpaces = m_tabsInsertSpaces->isChecked();
    own.autoIndent = m_tabsAutoIndent->isChecked();
}

void PreferencesDialog::OnTabsLanguageChanged(int language)
{
    if (language < TABS_DEFAULT || language > TABS_PYTHON)
        return;
    LoadTabsControls();
}

void PreferencesDialog::OnTabsUseDefaultsToggled(bool useDefaults)
{
    if (m_loadingTabs)
        return;
    const int language = m_tabsLanguage->currentIndex();
    if (language == TABS_DEFAULT)
        return;
    m_tabs[language].useDefaults = useDefaults;
    LoadTabsControls();
}

void PreferencesDialog::OnTabsInsertSpacesChanged()
{
    if (!m_loadingTabs)
        StoreTabsControls();
}

// --- Python and pylint -----------------------------------------------------------------------

QWidget *PreferencesDialog::CreatePythonPage()
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(8, 4, 8, 4);
    auto *python = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Python"))->layout());
    AddLanguageOptions(python, PYTHON_PAGE, QStringLiteral("python"));
    AddCheck(python, PYTHON_PAGE, QStringLiteral("Hide .pyc files in workspace"), &Settings::pythonHideCompiledFiles,
             "pythonHideCompiledFiles");
    AddCheck(python, PYTHON_PAGE, QStringLiteral("Import PyMEL on load"), &Settings::pythonImportPyMelOnLoad,
             "pythonImportPyMelOnLoad");
    AddCheck(python, PYTHON_PAGE, QStringLiteral("Debugger: pause on uncaught exceptions"),
             &Settings::debugPauseOnExceptions, "debugPauseOnExceptions");

    auto *complete = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Auto-Complete"))->layout());
    AddCheck(complete, PYTHON_PAGE, QStringLiteral("CTRL + Space"), &Settings::pythonCompleteOnUser,
             "pythonCompleteOnUser");
    AddCheck(complete, PYTHON_PAGE, QStringLiteral("On  letters  and  '_' "), &Settings::pythonCompleteOnLetters,
             "pythonCompleteOnLetters");
    AddCheck(complete, PYTHON_PAGE, QStringLiteral("On '.'"), &Settings::pythonCompleteOnDot, "pythonCompleteOnDot");
    auto *options = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Auto-Complete Options"))->layout());
    AddCheck(options, PYTHON_PAGE, QStringLiteral("Include Keywords"), &Settings::pythonIncludeKeywords,
             "pythonIncludeKeywords");
    AddCheck(options, PYTHON_PAGE, QStringLiteral("Include Built-ins"), &Settings::pythonIncludeBuiltins,
             "pythonIncludeBuiltins");
    AddLineEdit(options, PYTHON_PAGE, QStringLiteral("Forced Imports"), &Settings::pythonForcedImports,
                "pythonForcedImports");

    auto *pylint = static_cast<QBoxLayout *>(AddGroup(layout, QStringLiteral("Pylint Code Analysis"))->layout());
    AddCheck(pylint, PYTHON_PAGE, QStringLiteral("Enable Pylint"), &Settings::pylintEnabled, "pylintEnabled");
    QPushButton *browsePylint = nullptr;
    m_pylintPath = AddLineEdit(pylint, PYTHON_PAGE, QStringLiteral("Pylint Executable Path"), &Settings::pylintPath,
                               "pylintPath", &browsePylint);
    m_generatePylintConfig = new QPushButton(QStringLiteral("Generate"));
    m_generatePylintConfig->setObjectName(QStringLiteral("generatePylintConfig"));
    m_generatePylintConfig->setToolTip(QStringLiteral("Write pylint's default configuration and use it"));
    QPushButton *browseConfig = nullptr;
    m_pylintConfigPath = AddLineEdit(pylint, PYTHON_PAGE, QStringLiteral("Configuration Path (pylintrc)"),
                                     &Settings::pylintConfigPath, "pylintConfigPath", &browseConfig,
                                     m_generatePylintConfig);
    AddLineEdit(pylint, PYTHON_PAGE, QStringLiteral("Additional Python Paths"), &Settings::pylintAdditionalImportPaths,
                "pylintAdditionalImportPaths");
    AddCheck(pylint, PYTHON_PAGE, QStringLiteral("Use minimal checkers (overrides pylintrc)"),
             &Settings::pylintUseMinimalCheckers, "pylintUseMinimalCheckers");
    AddCheck(pylint, PYTHON_PAGE, QStringLiteral("Log output errors (debug)"), &Settings::pylintShowErrors,
             "pylintShowErrors");
    layout->addStretch(1);

    connect(browsePylint, &QPushButton::clicked, this, &PreferencesDialog::SelectPylintPath);
    connect(browseConfig, &QPushButton::clicked, this, &PreferencesDialog::SelectPylintConfigPath);
    connect(m_generatePylintConfig, &QPushButton::clicked, this, &PreferencesDialog::GeneratePylintConfig);
    return page;
}

void PreferencesDialog::SelectPylintPath()
{
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Select pylint executable"),
                                                      m_pylintPath->text());
    if (!path.isEmpty())
        m_pylintPath->setText(path);
}

void PreferencesDialog::SelectPylintConfigPath()
{
    // The same title as for the executable, on purpose.
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Select pylint executable"),
                                                      m_pylintConfigPath->text());
    if (!path.isEmpty())
        m_pylintConfigPath->setText(path);
}

void PreferencesDialog::GeneratePylintConfig()
{
    // The path as the dialog shows it, applied or not: the user has just chosen it.
    const QString executable = m_pylintPath->text();
    if (executable.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Pylint"), QStringLiteral("The path to the Pylint executable is not set."));
        return;
    }
    const QString target = QStringLiteral("%1/pylintrc").arg(UserDirectories::configDirectory());
    if (QFileInfo::exists(target)
        && QMessageBox::question(this, QStringLiteral("Overwrite config"),
                                 QStringLiteral("Overwrite existing pylintrc file?"),
                                 QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PYTHONPATH"), HostBridge::pythonPathString());
    const QString home = Settings::instance().pylintPythonHomePath;
    if (!home.isEmpty())
        environment.insert(QStringLiteral("PYTHONHOME"), home);
    process.setProcessEnvironment(environment);
    process.start(executable, {QStringLiteral("--generate-rcfile")});
    const bool finished = process.waitForFinished(pylintTimeout);
    if (!finished && process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(500);
    }
    if (finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) {
        QFile file(target);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Text) || file.write(process.readAllStandardOutput()) < 0) {
            HostBridge::showError(QStringLiteral("Failed to write pylintrc"));
            return;
        }
        m_pylintConfigPath->setText(target);
        return;
    }
    const QByteArray stderrBytes = process.readAllStandardError();
    const QString errors = QString::fromLocal8Bit(stderrBytes.constData(), stderrBytes.size()).trimmed();
    if (!errors.isEmpty())
        HostBridge::showError(errors);
    QMessageBox::warning(this, QStringLiteral("Pylint"), QStringLiteral("Failed to generate pylintrc"));
}

} // namespace ke2

// The fonts and colours page: a font and a working copy of the colour roles for the code
// editors and for the output.
#include "preferences/preferences_dialog.h"

#include <QtGui/QPainter>
#include <QtGui/QPixmap>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QColorDialog>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFontComboBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>

#include <algorithm>

namespace ke2 {
namespace {

const int fontSizes[] = {6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 18, 20, 22, 24};

QString hex2(int component)
{
    return QString::number(component, 16).rightJustified(2, QLatin1Char('0'));
}

QString cssColor(const QColor &color)
{
    return QStringLiteral("#%1%2%3").arg(hex2(color.red()), hex2(color.green()), hex2(color.blue()));
}

void showSwatch(QPushButton *button, const QBrush &brush, bool set, const QColor &fallback)
{
    QPixmap swatch(40, 14);
    swatch.fill(set ? brush.color() : fallback);
    QPainter painter(&swatch);
    painter.setPen(Qt::gray);
    painter.drawRect(swatch.rect().adjusted(0, 0, -1, -1));
    painter.end();
    button->setIcon(QIcon(swatch));
    button->setIconSize(swatch.size());
    // A role without its own colour shows the plain text's and says so.
    button->setText(set ? QString() : QStringLiteral("Default"));
}

} // namespace

QString PreferencesDialog::SampleText(const QColor &foreground)
{
    return QStringLiteral("<font color=%1>ij = I:oO(0xB81l);</font>").arg(cssColor(foreground));
}

QWidget *PreferencesDialog::CreateFontsAndColorsPage()
{
    auto *page = new QWidget;
    m_colorSet = new QComboBox;
    m_colorSet->setObjectName(QStringLiteral("colorSet"));
    m_colorSet->addItems({QStringLiteral("Code Editor"), QStringLiteral("Output Window")});
    m_fontFamily = new QFontComboBox;
    m_fontFamily->setObjectName(QStringLiteral("fontFamily"));
    m_fontSize = new QComboBox;
    m_fontSize->setObjectName(QStringLiteral("fontSize"));
    m_fixedWidthOnly = new QCheckBox(QStringLiteral("Show only fixed width"));
    m_fixedWidthOnly->setObjectName(QStringLiteral("fixedWidthOnly"));
    m_roleList = new QListWidget;
    m_roleList->setObjectName(QStringLiteral("colorRoles"));
    m_foreground = new QPushButton;
    m_foreground->setObjectName(QStringLiteral("foregroundButton"));
    m_background = new QPushButton;
    m_background->setObjectName(QStringLiteral("backgroundButton"));
    m_bold = new QCheckBox(QStringLiteral("Bold"));
    m_bold->setObjectName(QStringLiteral("bold"));
    m_italic = new QCheckBox(QStringLiteral("Italic"));
    m_italic->setObjectName(QStringLiteral("italic"));
    m_underline = new QCheckBox(QStringLiteral("Underline"));
    m_underline->setObjectName(QStringLiteral("underline"));
    m_sample = new QLabel;
    m_sample->setObjectName(QStringLiteral("sample"));
    m_sample->setTextFormat(Qt::RichText);
    m_sample->setMinimumHeight(48);
    m_defaultColors = new QPushButton(QStringLiteral("Use Defaults"));
    m_defaultColors->setObjectName(QStringLiteral("useDefaultFontsAndColors"));

    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(8, 4, 8, 4);
    auto *top = new QWidget;
    auto *grid = new QGridLayout(top);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(new QLabel(QStringLiteral("Show settings for:")), 0, 0);
    grid->addWidget(m_colorSet, 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("Font:")), 1, 0);
    grid->addWidget(m_fontFamily, 1, 1);
    grid->addWidget(new QLabel(QStringLiteral("Size:")), 1, 2);
    grid->addWidget(m_fontSize, 1, 3);
    grid->addWidget(m_fixedWidthOnly, 2, 1);
    grid->setColumnStretch(1, 1);
    layout->addWidget(top);
    AddSearchEntry(FONTS_AND_COLORS_PAGE, top, QStringLiteral("Font Size Show settings for: fixed width"));

    auto *roles = new QWidget;
    auto *rolesLayout = new QHBoxLayout(roles);
    rolesLayout->setContentsMargins(0, 0, 0, 0);
    auto *listColumn = new QVBoxLayout;
    listColumn->addWidget(new QLabel(QStringLiteral("Display items:")));
    listColumn->addWidget(m_roleList, 1);
    rolesLayout->addLayout(listColumn, 1);
    auto *formatColumn = new QGridLayout;
    formatColumn->addWidget(new QLabel(QStringLiteral("Foreground:")), 0, 0);
    formatColumn->addWidget(m_foreground, 0, 1);
    formatColumn->addWidget(new QLabel(QStringLiteral("Background:")), 1, 0);
    formatColumn->addWidget(m_background, 1, 1);
    formatColumn->addWidget(m_bold, 2, 1);
    formatColumn->addWidget(m_italic, 3, 1);
    formatColumn->addWidget(m_underline, 4, 1);
    formatColumn->setRowStretch(5, 1);
    formatColumn->addWidget(m_defaultColors, 6, 1);
    rolesLayout->addLayout(formatColumn);
    layout->addWidget(roles, 1);
    AddSearchEntry(FONTS_AND_COLORS_PAGE, roles, QStringLiteral("Colors Foreground Background Bold Italic Underline"));

    auto *sampleRow = new QWidget;
    auto *sampleLayout = new QVBoxLayout(sampleRow);
    sampleLayout->setContentsMargins(0, 0, 0, 0);
    sampleLayout->addWidget(new QLabel(QStringLiteral("Sample:")));
    sampleLayout->addWidget(m_sample);
    layout->addWidget(sampleRow);
    AddSearchEntry(FONTS_AND_COLORS_PAGE, sampleRow, QStringLiteral("Sample"));

    connect(m_colorSet, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &PreferencesDialog::RefreshFontsAndColorsPage);
    connect(m_fontFamily, &QFontComboBox::currentFontChanged, this, &PreferencesDialog::OnFontChanged);
    connect(m_fontSize, qOverload<int>(&QComboBox::currentIndexChanged), this, &PreferencesDialog::OnFontSizeChanged);
    connect(m_fixedWidthOnly, &QCheckBox::toggled, this, &PreferencesDialog::SetFixedWidthFonts);
    connect(m_roleList, &QListWidget::currentRowChanged, this, &PreferencesDialog::OnHighlightItemChanged);
    connect(m_foreground, &QPushButton::clicked, this, &PreferencesDialog::SelectForegroundColor);
    connect(m_background, &QPushButton::clicked, this, &PreferencesDialog::SelectBackgroundColor);
    for (QCheckBox *box : {m_bold, m_italic, m_underline})
        connect(box, &QCheckBox::toggled, this, &PreferencesDialog::OnHighlightModifierChanged);
    connect(m_defaultColors, &QPushButton::clicked, this, &PreferencesDialog::DefaultFontsAndColors);
    RefreshFontsAndColorsPage(CODE_EDITOR_SET);
    return page;
}

void PreferencesDialog::FillFontSizes(int current)
{
    m_fontSize->clear();
    QList<int> sizes(std::begin(fontSizes), std::end(fontSizes));
    // A size set by hand in the file stays choosable.
    if (!sizes.contains(current)) {
        sizes.append(current);
        std::sort(sizes.begin(), sizes.end());
    }
    for (int size : sizes)
        m_fontSize->addItem(QString::number(size), size);
    m_fontSize->setCurrentIndex(sizes.indexOf(current));
}

void PreferencesDialog::RefreshFontsAndColorsPage(int set)
{
    if (set != CODE_EDITOR_SET && set != OUTPUT_SET)
        return;
    m_loadingColors = true;
    m_fontFamily->setCurrentFont(m_fonts[set]);
    FillFontSizes(m_fonts[set].pointSize());
    m_roleList->clear();
    m_roleList->addItems(m_roles[set].names);
    m_roleList->setCurrentRow(0);
    m_loadingColors = false;
    if (m_search && !m_search->text().isEmpty())
        FilterSettings(m_search->text());
    LoadRoleControls();
}

void PreferencesDialog::OnFontChanged(const QFont &font)
{
    if (m_loadingColors)
        return;
    m_fonts[m_colorSet->currentIndex()].setFamily(font.family());
    UpdateSample();
}

void PreferencesDialog::OnFontSizeChanged(int index)
{
    if (m_loadingColors || index < 0)
        return;
    m_fonts[m_colorSet->currentIndex()].setPointSize(m_fontSize->itemData(index).toInt());
    UpdateSample();
}

void PreferencesDialog::SetFixedWidthFonts(bool fixedOnly)
{
    // Changing the filter picks a font of its own; the working font stays what it was.
    m_loadingColors = true;
    m_fontFamily->setFontFilters(fixedOnly ? QFontComboBox::MonospacedFonts : QFontComboBox::AllFonts);
    m_fontFamily->setCurrentFont(m_fonts[m_colorSet->currentIndex()]);
    m_loadingColors = false;
}

void PreferencesDialog::DefaultFontsAndColors()
{
    const int set = m_colorSet->currentIndex();
    m_roles[set].restoreDefaults();
    m_fonts[set] = Settings::fontInUse(Settings::defaultFont());
    const int row = m_roleList->currentRow();
    RefreshFontsAndColorsPage(set);
    m_roleList->setCurrentRow(row);
}

ColorRole *PreferencesDialog::SelectedRole()
{
    QListWidgetItem *item = m_roleList->currentItem();
    if (!item)
        return nullptr;
    ColorRoleTable &table = m_roles[m_colorSet->currentIndex()];
    auto found = table.roles.find(item->text());
    return found == table.roles.end() ? nullptr : &found.value();
}

void PreferencesDialog::OnHighlightItemChanged()
{
    if (!m_loadingColors)
        LoadRoleControls();
}

void PreferencesDialog::LoadRoleControls()
{
    const ColorRole *role = SelectedRole();
    for (QWidget *widget : std::initializer_list<QWidget *>{m_foreground, m_background, m_bold, m_italic, m_underline})
        widget->setEnabled(role != nullptr);
    if (!role) {
        UpdateSample();
        return;
    }
    const QTextCharFormat plain = m_roles[m_colorSet->currentIndex()].format(QString::fromLatin1(ColorRoleName::plainText));
    const QTextCharFormat &format = role->format;
    showSwatch(m_foreground, format.foreground(), format.hasProperty(QTextFormat::ForegroundBrush),
               plain.foreground().color());
    showSwatch(m_background, format.background(), format.hasProperty(QTextFormat::BackgroundBrush),
               plain.background().color());
    m_loadingColors = true;
    m_bold->setChecked(format.fontWeight() > QFont::Normal);
    m_italic->setChecked(format.fontItalic());
    m_underline->setChecked(format.fontUnderline());
    m_loadingColors = false;
    UpdateSample();
}

void PreferencesDialog::OnHighlightModifierChanged()
{
    ColorRole *role = SelectedRole();
    if (m_loadingColors || !role)
        return;
    QTextCharFormat &format = role->format;
    // Normal weight is no weight at all, as the colour file reads it back.
    if (m_bold->isChecked())
        format.setFontWeight(QFont::Bold);
    else
        format.clearProperty(QTextFormat::FontWeight);
    format.setFontItalic(m_italic->isChecked());
    format.setFontUnderline(m_underline->isChecked());
    UpdateSample();
}

bool PreferencesDialog::PickColor(QColor &color)
{
    QColorDialog dialog(color, this);
    dialog.setWindowTitle(QStringLiteral("Select Color"));
    if (dialog.exec() != QDialog::Accepted || !dialog.selectedColor().isValid())
        return false;
    color = dialog.selectedColor();
    return true;
}

void PreferencesDialog::SelectForegroundColor()
{
    ColorRole *role = SelectedRole();
    if (!role)
        return;
    const QTextCharFormat plain = m_roles[m_colorSet->currentIndex()].format(QString::fromLatin1(ColorRoleName::plainText));
    QColor color = role->format.hasProperty(QTextFormat::ForegroundBrush) ? role->format.foreground().color()
                                                                          : plain.foreground().color();
    if (!PickColor(color))
        return;
    role->format.setForeground(color);
    LoadRoleControls();
}

void PreferencesDialog::SelectBackgroundColor()
{
    ColorRole *role = SelectedRole();
    if (!role)
        return;
    const QTextCharFormat plain = m_roles[m_colorSet->currentIndex()].format(QString::fromLatin1(ColorRoleName::plainText));
    QColor color = role->format.hasProperty(QTextFormat::BackgroundBrush) ? role->format.background().color()
                                                                          : plain.background().color();
    if (!PickColor(color))
        return;
    role->format.setBackground(color);
    LoadRoleControls();
}

void PreferencesDialog::UpdateSample()
{
    const int set = m_colorSet->currentIndex();
    const QTextCharFormat plain = m_roles[set].format(QString::fromLatin1(ColorRoleName::plainText));
    const ColorRole *role = SelectedRole();
    const QTextCharFormat format = role ? role->format : plain;
    const QColor foreground = format.hasProperty(QTextFormat::ForegroundBrush) ? format.foreground().color()
                                                                               : plain.foreground().color();
    const QColor background = format.hasProperty(QTextFormat::BackgroundBrush) ? format.background().color()
                                                                               : plain.background().color();
    QFont font = m_fonts[set];
    font.setBold(format.fontWeight() > QFont::Normal);
    font.setItalic(format.fontItalic());
    font.setUnderline(format.fontUnderline());
    m_sample->setFont(font);
    m_sample->setStyleSheet(QStringLiteral("QLabel { background-color: %1; padding: 8px; }").arg(cssColor(background)));
    m_sample->setText(SampleText(foreground));
}

} // namespace ke2

#include "ZRMIconAndBadgeTableCell.h"

#include "ItemRoles.h"
#include "TableCellStyle.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal HorizontalInset = 8;
constexpr qreal IconSize = 16;
constexpr qreal IconSpacing = 7;
constexpr qreal BadgeSpacing = 10;
constexpr qreal BadgeRightMargin = 5;
constexpr int MinimumBadgeWidth = 20;
constexpr qreal BadgeTextPadding = 8;
constexpr qreal BadgeHeight = 14;
constexpr qreal BadgeRadiusX = 7;
constexpr qreal BadgeRadiusY = 8;
constexpr qreal BadgeTextInset = 4;
// A single digit looks centred only when moved a little further.
constexpr qreal NarrowBadgeTextShift = 2;
constexpr qreal TitlePointSize = 11;
constexpr qreal BadgePointSize = 11;
constexpr qreal BadgeKerning = -0.25;
const QString EmptyCount = QStringLiteral("0");
const QColor BadgeColor = QColor::fromRgbF(0.53f, 0.6f, 0.74f);

QFont badgeFont()
{
    QFont font = TableCellStyle::systemFont(BadgePointSize, true);
    font.setLetterSpacing(QFont::AbsoluteSpacing, BadgeKerning);
    return font;
}

int badgeWidth(const QString &text)
{
    return std::max(MinimumBadgeWidth,
                    int(QFontMetricsF(badgeFont()).horizontalAdvance(text) + BadgeTextPadding));
}

// The badge stands out from the row: blue on a plain row, white on a selected one,
// grey while the window is in the background or the row is greyed.
std::pair<QColor, QColor> badgeFillAndText(const QStyleOptionViewItem &option, bool greyed)
{
    const bool active = option.state.testFlag(QStyle::State_Active) && !greyed;
    const bool highlighted = option.state.testFlag(QStyle::State_Selected);
    if (highlighted)
        return {Qt::white, active ? TableCellStyle::SelectionInFocus : TableCellStyle::DisabledText};
    return {active ? BadgeColor : TableCellStyle::DisabledText, Qt::white};
}

} // namespace

QString ZRMIconAndBadgeTableCell::capitalizedTitle(const QString &title)
{
    QString capitalized = title.toLower();
    bool startsWord = true;
    for (QChar &character : capitalized) {
        if (startsWord)
            character = character.toUpper();
        startsWord = !character.isLetterOrNumber();
    }
    return capitalized;
}

ZRMIconAndBadgeTableCell::Layout ZRMIconAndBadgeTableCell::layoutFor(const QRectF &cell,
                                                                     const QString &badgeText)
{
    const QRectF inner = cell.adjusted(HorizontalInset, 0, -HorizontalInset, 0);
    const int width = badgeWidth(badgeText);
    const qreal titleHeight = QFontMetricsF(TableCellStyle::systemFont(TitlePointSize)).height();
    const qreal badgeX = std::floor(cell.right() - BadgeRightMargin - width);
    const qreal badgeY = std::floor(cell.y() + cell.height() / 2 - BadgeHeight / 2);

    Layout layout;
    layout.icon = QRectF(inner.x(), inner.center().y() - IconSize / 2, IconSize, IconSize);
    layout.title = QRectF(inner.x() + IconSize + IconSpacing, inner.center().y() - titleHeight / 2,
                          inner.width() - IconSize - IconSpacing - width - BadgeSpacing, titleHeight);
    layout.badge = QRectF(badgeX, badgeY, width, BadgeHeight);
    layout.badgeText = QPointF(badgeX + BadgeTextInset + (width == MinimumBadgeWidth ? NarrowBadgeTextShift : 0),
                               badgeY);
    layout.showsBadge = badgeText.compare(EmptyCount, Qt::CaseInsensitive) != 0;
    return layout;
}

void ZRMIconAndBadgeTableCell::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                     const QModelIndex &index) const
{
    const QString badgeText = index.data(ItemRoles::SubtitleRole).toString();
    const Layout layout = layoutFor(option.rect, badgeText);
    const QVariant foreground = index.data(Qt::ForegroundRole);
    const bool greyed = foreground.isValid();
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (layout.showsBadge)
        drawBadge(painter, layout, badgeText, option, greyed);

    const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
    icon.paint(painter, layout.icon.toRect(), Qt::AlignCenter, greyed ? QIcon::Disabled : QIcon::Normal);

    const QFont titleFont = TableCellStyle::systemFont(TitlePointSize);
    const QString title = capitalizedTitle(index.data(Qt::DisplayRole).toString());
    painter->setFont(titleFont);
    if (option.state.testFlag(QStyle::State_Selected))
        painter->setPen(TableCellStyle::HighlightedText);
    else
        painter->setPen(greyed ? foreground.value<QColor>() : QColor(Qt::black));
    painter->drawText(layout.title, Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetricsF(titleFont).elidedText(title, Qt::ElideLeft, layout.title.width()));
    painter->restore();
}

void ZRMIconAndBadgeTableCell::drawBadge(QPainter *painter, const Layout &layout, const QString &text,
                                         const QStyleOptionViewItem &option, bool greyed)
{
    const auto [fill, textColor] = badgeFillAndText(option, greyed);
    QPainterPath badge;
    badge.addRoundedRect(layout.badge, BadgeRadiusX, BadgeRadiusY);
    painter->fillPath(badge, fill);
    painter->setFont(badgeFont());
    painter->setPen(textColor);
    const QRectF textBox(layout.badgeText, QPointF(layout.badge.right(), layout.badge.bottom()));
    painter->drawText(textBox, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextDontClip, text);
}

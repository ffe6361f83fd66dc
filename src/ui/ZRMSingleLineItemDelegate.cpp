#include "ZRMSingleLineItemDelegate.h"

void ZRMSingleLineItemDelegate::initStyleOption(QStyleOptionViewItem *option,
                                                const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    option->features &= ~QStyleOptionViewItem::WrapText;
    // The table shows the selection by rows; a frame around one cell would stand out.
    option->state &= ~QStyle::State_HasFocus;
}

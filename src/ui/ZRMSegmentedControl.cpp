#include "ZRMSegmentedControl.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QIcon>
#include <QToolButton>

ZRMSegmentedControl::ZRMSegmentedControl(TrackingMode mode, QWidget *parent)
    : QWidget(parent),
      m_mode(mode),
      m_group(new QButtonGroup(this)),
      m_layout(new QHBoxLayout(this))
{
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    m_group->setExclusive(mode == TrackingMode::SelectOne);
    connect(m_group, &QButtonGroup::idClicked, this, &ZRMSegmentedControl::segmentClicked);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

int ZRMSegmentedControl::addSegment(const QString &label, const QString &accessibleName)
{
    auto *button = new QToolButton(this);
    button->setText(label);
    button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    return appendSegment(button, accessibleName);
}

int ZRMSegmentedControl::addSegment(const QIcon &icon, const QString &accessibleName)
{
    auto *button = new QToolButton(this);
    button->setIcon(icon);
    button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    return appendSegment(button, accessibleName);
}

int ZRMSegmentedControl::appendSegment(QToolButton *button, const QString &accessibleName)
{
    const int index = segmentCount();
    button->setCheckable(m_mode == TrackingMode::SelectOne);
    button->setAccessibleName(accessibleName);
    button->setToolTip(accessibleName);
    button->setFocusPolicy(Qt::TabFocus);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    m_group->addButton(button, index);
    m_layout->addWidget(button);
    return index;
}

int ZRMSegmentedControl::segmentCount() const
{
    return int(m_group->buttons().size());
}

QToolButton *ZRMSegmentedControl::segment(int index) const
{
    return static_cast<QToolButton *>(m_group->button(index));
}

void ZRMSegmentedControl::setSegmentEnabled(int index, bool enabled)
{
    segment(index)->setEnabled(enabled);
}

bool ZRMSegmentedControl::isSegmentEnabled(int index) const
{
    return segment(index)->isEnabled();
}

int ZRMSegmentedControl::selectedSegment() const
{
    return m_group->checkedId();
}

void ZRMSegmentedControl::setSelectedSegment(int index)
{
    if (m_mode == TrackingMode::SelectOne)
        segment(index)->setChecked(true);
}

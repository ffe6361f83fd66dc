#pragma once

#include <QWidget>

class QButtonGroup;
class QHBoxLayout;
class QIcon;
class QToolButton;

// A row of joined buttons. In SelectOne mode one segment stays selected (a tab
// selector); in Momentary mode each segment is a plain command button.
class ZRMSegmentedControl : public QWidget
{
    Q_OBJECT

public:
    enum class TrackingMode { SelectOne, Momentary };

    explicit ZRMSegmentedControl(TrackingMode mode, QWidget *parent = nullptr);

    // Returns the new segment's index. A segment with an icon shows only the
    // icon; its name is then its tool tip.
    int addSegment(const QString &label, const QString &accessibleName);
    int addSegment(const QIcon &icon, const QString &accessibleName);

    int segmentCount() const;
    QToolButton *segment(int index) const;
    void setSegmentEnabled(int index, bool enabled);
    bool isSegmentEnabled(int index) const;
    // -1 when none is selected, and always in Momentary mode.
    int selectedSegment() const;
    void setSelectedSegment(int index);

Q_SIGNALS:
    void segmentClicked(int index);

private:
    int appendSegment(QToolButton *button, const QString &accessibleName);

    TrackingMode m_mode;
    QButtonGroup *m_group;
    QHBoxLayout *m_layout;
};

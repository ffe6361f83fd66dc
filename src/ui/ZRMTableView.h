#pragma once

#include <QColor>
#include <QTableView>

// The application's tables: rows striped in its own two colours, the
// selection drawn as a rounded bar per row (darker while the table has the
// focus of the active window), and a right click that first selects what the
// context menu will act on.
class ZRMTableView : public QTableView
{
    Q_OBJECT

public:
    explicit ZRMTableView(QWidget *parent = nullptr);

    const QColor &jHighlightColorInFocusView() const { return m_highlightColorInFocusView; }
    const QColor &jHighlightColorOutOfFocusView() const { return m_highlightColorOutOfFocusView; }
    QColor currentHighlightColor() const;
    // Shown in the middle of the table while it has no rows.
    void setPlaceholderText(const QString &text);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    void selectRowForContextMenu(const QPoint &position);
    void drawAlternatingRows(QPainter &painter, const QRect &clip) const;
    void highlightSelectionInClipRect(QPainter &painter, const QRect &clip) const;

    QColor m_highlightColorInFocusView;
    QColor m_highlightColorOutOfFocusView;
    QString m_placeholderText;
};

#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

// A colour as red, green, blue and alpha from 0 to 1, kept free of the GUI
// libraries so that the engine and the model can describe styled text.
struct RgbaColor
{
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    friend bool operator==(const RgbaColor &, const RgbaColor &) = default;
};

// Text made of runs, each with its colour and font; the plain text is the
// runs joined.
class StyledText
{
public:
    struct Run
    {
        QString text;
        RgbaColor color;
        double pointSize = 11;
        bool bold = false;

        friend bool operator==(const Run &, const Run &) = default;
    };

    static constexpr double DefaultPointSize = 11;
    static constexpr RgbaColor Black{0, 0, 0, 1};
    static constexpr RgbaColor Grey{0.5, 0.5, 0.5, 1};
    static constexpr RgbaColor Red{0.8, 0.1, 0.1, 1};

    StyledText() = default;
    StyledText(const QString &text, RgbaColor color, double pointSize = DefaultPointSize,
               bool bold = false);

    StyledText &append(const QString &text, RgbaColor color, double pointSize = DefaultPointSize,
                       bool bold = false);
    const QList<Run> &runs() const { return m_runs; }
    QString plainText() const;
    bool isEmpty() const { return m_runs.isEmpty(); }

    friend bool operator==(const StyledText &, const StyledText &) = default;

private:
    QList<Run> m_runs;
};
Q_DECLARE_METATYPE(StyledText)

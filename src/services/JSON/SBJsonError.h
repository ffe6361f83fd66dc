#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

#include <memory>
#include <optional>

// One refusal of the JSON reader or writer. Each error added to a trace wraps
// the error before it as its underlying error, so the last error of a trace is
// the outermost explanation and leads back to the innermost one.
class SBJsonError
{
public:
    enum Code {
        Unsupported = 1,
        BadNumber = 2,
        Parse = 3,
        NotContainer = 4,
        ControlCharacter = 5,
        Unicode = 6,
        Depth = 7,
        Escape = 8,
        TrailingComma = 9,
        TrailingGarbage = 10,
        EndOfInput = 11,
        NoInput = 12,
    };

    static inline const QString errorDomain = QStringLiteral("org.cascader.json");

    SBJsonError() = default;
    SBJsonError(int code, const QString &description,
                std::optional<SBJsonError> underlying = std::nullopt);

    QString domain() const { return m_domain; }
    int code() const { return m_code; }
    QString localizedDescription() const { return m_description; }
    // The error this one wraps, or nullptr for the innermost error.
    const SBJsonError *underlyingError() const { return m_underlying.get(); }

    // "Error Domain=org.cascader.json Code=3 "Expected 'true'""
    QString toString() const;
    // The whole trace on one line, innermost first: "(error, error, ...)".
    static QString describeTrace(const QList<SBJsonError> &trace);

    friend bool operator==(const SBJsonError &a, const SBJsonError &b);

private:
    QString m_domain;
    int m_code = 0;
    QString m_description;
    std::shared_ptr<const SBJsonError> m_underlying;
};

Q_DECLARE_METATYPE(SBJsonError)

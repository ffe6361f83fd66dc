#pragma once

#include "services/JSON/SBJsonBase.h"
#include "services/JSON/SBJsonError.h"

#include <QString>
#include <QVariant>

#include <optional>

class SBJsonParser;
class SBJsonWriter;

// One JSON reader and one JSON writer behind a single object. When a call
// fails, the error trace of the reader or writer that refused is copied into
// this object's own; a successful call leaves it as it was. The forms with an
// error argument also hand back the trace's last (outermost) error when one is
// passed.
class SBJSON : public SBJsonBase
{
    Q_OBJECT
    Q_PROPERTY(bool humanReadable READ humanReadable WRITE setHumanReadable)
    Q_PROPERTY(bool sortKeys READ sortKeys WRITE setSortKeys)

public:
    explicit SBJSON(QObject *parent = nullptr);
    ~SBJSON() override;

    QVariant objectWithString(const QString &text, SBJsonError *error = nullptr);
    QVariant fragmentWithString(const QString &text, SBJsonError *error = nullptr);
    // allowScalar picks fragmentWithString() over objectWithString().
    QVariant objectWithString(const QString &text, bool allowScalar, SBJsonError *error = nullptr);

    std::optional<QString> stringWithObject(const QVariant &value, SBJsonError *error = nullptr);
    std::optional<QString> stringWithFragment(const QVariant &value, SBJsonError *error = nullptr);
    std::optional<QString> stringWithObject(const QVariant &value, bool allowScalar,
                                            SBJsonError *error = nullptr);

    // Read from the reader, set on reader and writer.
    uint maxDepth() const override;
    void setMaxDepth(uint maxDepth) override;
    bool humanReadable() const;
    void setHumanReadable(bool humanReadable);
    bool sortKeys() const;
    void setSortKeys(bool sortKeys);

    // One-shot conveniences with a fresh reader or writer; on failure they log
    // the error trace under lcServices and return nothing.
    static QVariant JSONValue(const QString &text);
    static QVariant JSONFragmentValue(const QString &text);
    static std::optional<QString> JSONRepresentation(const QVariant &value);
    static std::optional<QString> JSONFragment(const QVariant &value);

private:
    QVariant adoptParserResult(const QVariant &value, SBJsonError *error);
    std::optional<QString> adoptWriterResult(const std::optional<QString> &json, SBJsonError *error);
    // A failure's trace becomes this object's own.
    void adoptTrace(const QList<SBJsonError> &trace, SBJsonError *error);

    SBJsonParser *m_parser;
    SBJsonWriter *m_writer;
};

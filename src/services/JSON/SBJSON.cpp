#include "services/JSON/SBJSON.h"

#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"
#include "support/Logging.h"

namespace {

void logFailure(const char *operation, const QList<SBJsonError> &trace)
{
    qCWarning(lcServices, "-%s failed. Error trace is: %s", operation,
              qUtf8Printable(SBJsonError::describeTrace(trace)));
}

} // namespace

SBJSON::SBJSON(QObject *parent)
    : SBJsonBase(parent)
    , m_parser(new SBJsonParser(this))
    , m_writer(new SBJsonWriter(this))
{
    setMaxDepth(defaultMaxDepth);
}

SBJSON::~SBJSON() = default;

QVariant SBJSON::objectWithString(const QString &text, SBJsonError *error)
{
    return adoptParserResult(m_parser->objectWithString(text), error);
}

QVariant SBJSON::fragmentWithString(const QString &text, SBJsonError *error)
{
    return adoptParserResult(m_parser->fragmentWithString(text), error);
}

QVariant SBJSON::objectWithString(const QString &text, bool allowScalar, SBJsonError *error)
{
    return allowScalar ? fragmentWithString(text, error) : objectWithString(text, error);
}

std::optional<QString> SBJSON::stringWithObject(const QVariant &value, SBJsonError *error)
{
    return adoptWriterResult(m_writer->stringWithObject(value), error);
}

std::optional<QString> SBJSON::stringWithFragment(const QVariant &value, SBJsonError *error)
{
    return adoptWriterResult(m_writer->stringWithFragment(value), error);
}

std::optional<QString> SBJSON::stringWithObject(const QVariant &value, bool allowScalar, SBJsonError *error)
{
    return allowScalar ? stringWithFragment(value, error) : stringWithObject(value, error);
}

uint SBJSON::maxDepth() const
{
    return m_parser->maxDepth();
}

void SBJSON::setMaxDepth(uint maxDepth)
{
    m_parser->setMaxDepth(maxDepth);
    m_writer->setMaxDepth(maxDepth);
}

bool SBJSON::humanReadable() const
{
    return m_writer->humanReadable();
}

void SBJSON::setHumanReadable(bool humanReadable)
{
    m_writer->setHumanReadable(humanReadable);
}

bool SBJSON::sortKeys() const
{
    return m_writer->sortKeys();
}

void SBJSON::setSortKeys(bool sortKeys)
{
    m_writer->setSortKeys(sortKeys);
}

QVariant SBJSON::JSONValue(const QString &text)
{
    SBJsonParser parser;
    const QVariant value = parser.objectWithString(text);
    if (!value.isValid())
        logFailure("JSONValue", parser.errorTrace());
    return value;
}

QVariant SBJSON::JSONFragmentValue(const QString &text)
{
    SBJsonParser parser;
    const QVariant value = parser.fragmentWithString(text);
    if (!value.isValid())
        logFailure("JSONFragmentValue", parser.errorTrace());
    return value;
}

std::optional<QString> SBJSON::JSONRepresentation(const QVariant &value)
{
    SBJsonWriter writer;
    const std::optional<QString> json = writer.stringWithObject(value);
    if (!json)
        logFailure("JSONRepresentation", writer.errorTrace());
    return json;
}

std::optional<QString> SBJSON::JSONFragment(const QVariant &value)
{
    SBJsonWriter writer;
    const std::optional<QString> json = writer.stringWithFragment(value);
    if (!json)
        logFailure("JSONFragment", writer.errorTrace());
    return json;
}

QVariant SBJSON::adoptParserResult(const QVariant &value, SBJsonError *error)
{
    if (!value.isValid())
        adoptTrace(m_parser->errorTrace(), error);
    return value;
}

std::optional<QString> SBJSON::adoptWriterResult(const std::optional<QString> &json, SBJsonError *error)
{
    if (!json)
        adoptTrace(m_writer->errorTrace(), error);
    return json;
}

void SBJSON::adoptTrace(const QList<SBJsonError> &trace, SBJsonError *error)
{
    replaceErrorTrace(trace);
    if (error && !trace.isEmpty())
        *error = trace.constLast();
}

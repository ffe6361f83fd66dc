// The JSON reader on arbitrary bytes. Besides memory errors, it checks what
// the rest of the program relies on: a read either gives a value or says why
// not, the byte and text routes agree, and what was read writes out and reads
// back unchanged, which is how the project file survives a save.

#include "FuzzSupport.h"

#include "services/JSON/SBJSON.h"
#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"

#include <QStringDecoder>

#include <cstddef>
#include <cstdint>

using FuzzSupport::fail;

namespace {

bool isContainer(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantList;
}

void checkRoundTrip(const QVariant &value, bool humanReadable)
{
    SBJsonWriter writer;
    writer.setHumanReadable(humanReadable);
    writer.setSortKeys(humanReadable);
    const std::optional<QString> written = writer.stringWithFragment(value);
    if (!written)
        fail("a value that was read cannot be written", SBJsonError::describeTrace(writer.errorTrace()));
    // The reader keeps only the low 16 bits of a surrogate pair's code point,
    // as it always has; for U+1D800-U+1DFFF (and the like in the other
    // planes) that is a lone surrogate, which no UTF-8 text can carry back.
    if (!written->isValidUtf16())
        return;

    SBJsonParser parser;
    const QVariant reread = parser.fragmentWithString(*written);
    if (reread != value)
        fail("a written value reads back differently",
             *written + u'\n' + SBJsonError::describeTrace(parser.errorTrace()));
    if (writer.stringWithFragment(reread) != written)
        fail("writing a value twice gives two texts", *written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));

    SBJsonParser parser;
    const QVariant value = parser.fragmentWithUtf8(bytes);
    if (value.isValid() == !parser.errorTrace().isEmpty())
        fail("the result and the error trace disagree", SBJsonError::describeTrace(parser.errorTrace()));

    const QVariant object = parser.objectWithUtf8(bytes);
    if (object.isValid() != (value.isValid() && isContainer(value)) || (object.isValid() && object != value))
        fail("objectWithUtf8 disagrees with fragmentWithUtf8", FuzzSupport::describe(object));

    // Stateless, so that a character cut off at the end counts as an error.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(bytes);
    // An empty input may decode to a null text, which means no input at all.
    if (!utf8.hasError() && text.isNull() == bytes.isNull()) {
        SBJSON json;
        SBJsonError error;
        const QVariant viaText = json.fragmentWithString(text, &error);
        if (viaText.isValid() != value.isValid() || (value.isValid() && viaText != value))
            fail("reading the text and reading its bytes disagree", FuzzSupport::describe(viaText));
        if (!viaText.isValid()
            && (json.errorTrace() != parser.errorTrace() || !(error == json.errorTrace().constLast())))
            fail("the facade reports another error than the reader",
                 SBJsonError::describeTrace(json.errorTrace()));
    }

    if (value.isValid()) {
        checkRoundTrip(value, false);
        checkRoundTrip(value, true);
    }
    return 0;
}

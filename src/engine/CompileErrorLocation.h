#pragma once

#include <QString>

// Where the compiler's error text says the error is: less ends its first
// line with "in FILE on line L, column C:". Editors and CI take the same as
// "FILE:L:C: message".
struct CompileErrorLocation
{
    QString file;
    int line = 0;
    int column = 0;
    // The error's own words, without the place.
    QString message;

    bool isValid() const { return line > 0; }
    // "FILE:L:C: message", or the text as it is when no place is named.
    QString annotation() const;

    static CompileErrorLocation parse(const QString &errorText);
};

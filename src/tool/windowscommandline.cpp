#include "tool/windowscommandline.h"

#include <algorithm>

namespace tool {

namespace {

constexpr QLatin1Char quote('"');
constexpr QLatin1Char backslash('\\');

bool needsQuotes(const QString &argument)
{
    return argument.isEmpty() || std::any_of(argument.cbegin(), argument.cend(), [](QChar letter) {
               return letter.isSpace() || letter == quote;
           });
}

// Backslashes are literal, except before a quote: there, two mean one.
QString quoted(const QString &argument)
{
    QString text(quote);
    int backslashes = 0; // in a row, before this letter
    for (const QChar letter : argument) {
        if (letter == quote) {
            text += QString(backslashes + 1, backslash); // as many again, and one for the quote
        }
        backslashes = letter == backslash ? backslashes + 1 : 0;
        text += letter;
    }
    return text + QString(backslashes, backslash) + quote;
}

} // namespace

QString windowsCommandLine(const QString &program, const QStringList &arguments)
{
    QString path = program;
    path.replace(QLatin1Char('/'), backslash);
    QString line = quote + path + quote;
    for (const QString &argument : arguments) {
        line += QLatin1Char(' ') + (needsQuotes(argument) ? quoted(argument) : argument);
    }
    return line;
}

bool isBatchFile(const QString &program)
{
    int end = program.size();
    while (
        end > 0
        && (program.at(end - 1) == QLatin1Char('.') || program.at(end - 1) == QLatin1Char(' '))) {
        --end; // the system ignores them
    }
    const QString name = program.left(end);
    return name.endsWith(QLatin1String(".bat"), Qt::CaseInsensitive)
        || name.endsWith(QLatin1String(".cmd"), Qt::CaseInsensitive);
}

} // namespace tool

#pragma once

#include <QByteArray>
#include <QString>

// Reads the bytes with base::JsonText and with QJsonDocument and compares: whether it is JSON,
// kinds, texts, elements, members by key, the first key of each object. Empty when they agree,
// otherwise where they differ.
//
// If keys contain zeros, surrogates, or characters above these, Qt's order of keys may be
// inconsistent (it compares up to the zero, by code units, or by code points, depending on how they
// are escaped) and existing keys are not found: with `anyKeys` false, objects with such keys are
// skipped.
//
// Of duplicate keys Qt keeps the last in objects of up to 16 members; in larger ones the result of
// its sort is arbitrary, and they are skipped, too.
[[nodiscard]] QString jsonDifference(const QByteArray &bytes, bool anyKeys);

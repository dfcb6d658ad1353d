#pragma once

#include <QByteArray>
#include <QString>

// Reads the bytes with base::JsonText and with QJsonDocument and holds one against the other:
// whether it is JSON, kinds, texts, elements, members by key, the first key of each object. Empty
// when they agree, otherwise where they do not.
//
// Where keys hold zeros, surrogates, or characters behind these, Qt's order of keys may be none (it
// compares up to the zero, units, or code points, depending on how they are escaped) and a key that
// is there is not found: with `anyKeys` false, objects with such keys are left out.
//
// Of equal keys Qt keeps the last in objects of up to 16 members; in larger ones its sort leaves it
// to chance, and they are left out, too.
[[nodiscard]] QString jsonDifference(const QByteArray &bytes, bool anyKeys);

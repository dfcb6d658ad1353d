#pragma once

#include <QByteArray>
#include <QString>

// Reads the bytes with tool::JsonText and with QJsonDocument and holds one against the other:
// whether it is JSON, kinds, texts, elements, members by key, the first key of each object. Empty
// when they agree, otherwise where they do not.
//
// Where keys hold surrogates or characters behind them, Qt's order of keys may be none (it compares
// units or code points, depending on how they are escaped): with `anyKeys` false, objects with such
// keys are left out.
[[nodiscard]] QString jsonDifference(const QByteArray &bytes, bool anyKeys);

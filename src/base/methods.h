#pragma once

#include <QMetaMethod>
#include <QMetaObject>

namespace base {

// The signal or slot of a class with this signature, as SIGNAL() and SLOT() write it, in normal
// form. For connections that are made over and over: those by signature look both up each time.
template <typename Class>
[[nodiscard]] QMetaMethod methodOf(const char *signature)
{
    const QMetaObject &meta = Class::staticMetaObject;
    return meta.method(meta.indexOfMethod(signature + 1)); // a digit says which of the two it is
}

} // namespace base

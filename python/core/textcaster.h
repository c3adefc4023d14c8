#pragma once

#include <QString>

#include <pybind11/pybind11.h>

namespace pybind11::detail {

/// Python's `str` as the library's texts.
template <>
struct type_caster<QString> {
    PYBIND11_TYPE_CASTER(QString, const_name("str"));

    bool load(handle source, bool /*convert*/)
    {
        if (!PyUnicode_Check(source.ptr()))
            return false;
        Py_ssize_t size = 0;
        const char* utf8 = PyUnicode_AsUTF8AndSize(source.ptr(), &size);
        if (utf8 == nullptr) { // a lone surrogate
            PyErr_Clear();
            return false;
        }
        value = QString::fromUtf8(utf8, size);
        return true;
    }

    static handle cast(const QString& text, return_value_policy /*policy*/, handle /*parent*/)
    {
        const QByteArray utf8 = text.toUtf8();
        return PyUnicode_FromStringAndSize(utf8.constData(), utf8.size());
    }
};

} // namespace pybind11::detail

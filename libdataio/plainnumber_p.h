#pragma once

#include <QStringView>

#include <optional>

namespace zd {

// Numbers in the forms in which they are mostly stored, read many times as fast as Qt reads any form. Both give nothing
// for all other texts, numbers or not, and otherwise exactly what QString::toInt and QString::toDouble give.

/// Up to nine digits.
std::optional<int> plainInteger(QStringView text);
/// Up to 15 digits, before and behind a point, a sign in front, an exponent up to 22 in all.
std::optional<double> plainDecimal(QStringView text);

} // namespace zd

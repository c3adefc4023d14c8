#pragma once

#include <movietools/movie/moviesummary.h>

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <string>

/// What is known of a movie, by the names that programs use.
namespace zd::tool {

/// All of it.
QJsonObject summaryJson(const movietools::MovieSummary& movie);

/// Checks the name of a field: one of `summaryJson`, a part of one ("laser_power.minimum", "attributes.operator") or a
/// short form (size, type, rate, duration, recorded, name). Returns its full name. Throws UsageError.
QString fieldName(const std::string& name);
/// A field by its full name; null when the movie does not tell.
QJsonValue fieldOf(const QJsonObject& movie, const QString& name);
/// A value as bare text, control characters escaped; empty for null.
QString fieldText(const QJsonValue& value);
/// Whether `a` comes before `b`: numbers by size, texts by character, nulls last.
bool comesBefore(const QJsonValue& a, const QJsonValue& b);

/// A condition on a field, like "frames>100" or "attributes.operator=Curie".
class MovieCondition {
public:
    /// Throws UsageError.
    explicit MovieCondition(const std::string& text);
    bool holds(const QJsonObject& movie) const;

private:
    QString m_field;
    QString m_relation; // =, !=, <, <=, >, >=, ~
    QString m_value;
};

} // namespace zd::tool

// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanParameters.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/// A scan as a value: what was wanted, what was counted, of which sample and when. Runs give it, writers take it; the front panel shows one
/// and never is one. Points are numbered from 1; angle(i) = start + (i - 1) x step.
class ScanRecord
{
public:
    ScanParameters parameters;      ///< start, stop, step [deg 2-Theta], counter time [s], number of points
    QList<ScanParameters> segments; ///< what the controller counts one after the other: one, the whole scan
    qint32 received = 0;            ///< points that the controller or the file gave, 0..size(); those behind them are zero
    qint32 minimum = 0;             ///< smallest count
    qint32 maximum = 0;             ///< largest count

    bool simulated = false; ///< read in the simulation state: no controller counted them

    QString sample;
    QString comment;       ///< may hold line breaks
    QString operatorName;  ///< empty: not known
    QString measuringDate; ///< as it stands in data files and in panel 2; a file's own text, whatever it is
    QDateTime begin;       ///< invalid: not known
    QDateTime end;         ///< invalid: not known

    std::optional<double> wavelength; ///< angstrom
    std::optional<QString> anode;     ///< element of the tube's anode
    std::optional<double> kV;
    std::optional<double> mA;
    std::optional<double> temperature; ///< of the sample [K]
    QStringList remarks;               ///< what the run says about it: "accepted by the operator at 295.1 K, ..."
    qint16 temperatureFlag = 0;        ///< 7: the temperature stands in the native file; no procedure of this program sets it

    /// A scan with these parameters, in one segment, of which nothing is counted yet.
    static ScanRecord of(const ScanParameters& parameters);
    /// It begins at this moment: begin and measuring date.
    void beginAt(const QDateTime& moment);

    /// Sizes both arrays to 1..points, all zero; nothing is received.
    void resize(qint32 points);
    /// What has to be said wherever the counts are shown: "partial: 20 of 101 points", "simulated counts"; empty: nothing.
    QString markText() const;
    qint32 size() const { return static_cast<qint32>(m_counts.size()); }
    double count(qint32 i) const { return m_counts[i - 1]; }
    double angle(qint32 i) const { return m_angles[i - 1]; }
    /// Stores point i (1..size()); a point beyond the end is passed over.
    void setPoint(qint32 i, double angle, double count);
    const QVector<double>& counts() const { return m_counts; }
    const QVector<double>& angles() const { return m_angles; }

    /// "mmm dd. yyyy hh:mm" with English month names.
    static QString MeasuringDate(const QDateTime& moment);
    /// The moment that such a text names, to the minute; invalid when it does not read as one.
    static QDateTime ReadMeasuringDate(const QString& text);

private:
    QVector<double> m_counts;
    QVector<double> m_angles;
};

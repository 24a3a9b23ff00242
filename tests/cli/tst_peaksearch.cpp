// SPDX-License-Identifier: GPL-3.0-or-later
//
// The peak list of "scan-cli info --peaks".

#include "app/cli/PeakSearch.h"

#include <QTest>

#include <cmath>

namespace {
/// A pattern over 20 to 30 degrees in steps of 0.02, the same on every run: background 20, ripple of one standard deviation at most.
struct Pattern
{
    QVector<double> angles;
    QVector<double> counts;

    Pattern()
    {
        for (int i = 0; i <= 500; ++i) {
            angles.append(20 + i * 0.02);
            counts.append(20 + std::round(4 * std::sin(i * 1.7)));
        }
    }
    void addLine(double angle, double height)
    {
        for (qsizetype i = 0; i < angles.size(); ++i)
            counts[i] += std::round(height * std::exp(-std::pow((angles[i] - angle) / 0.06, 2)));
    }
};
} // namespace

class PeakSearchTest : public QObject
{
    Q_OBJECT

private slots:
    void aBackgroundHasNoPeaks()
    {
        const Pattern pattern;
        QVERIFY(cli::findPeaks(pattern.angles, pattern.counts, 10).isEmpty());
    }
    void linesAreFoundStrongestFirst()
    {
        Pattern pattern;
        pattern.addLine(21.013, 300);
        pattern.addLine(26.64, 1000);
        pattern.addLine(26.95, 500); // a neighbour, resolved
        const QList<cli::Peak> peaks = cli::findPeaks(pattern.angles, pattern.counts, 10);
        QCOMPARE(peaks.size(), 3);
        QVERIFY(std::abs(peaks[0].angle - 26.64) < 0.005);
        QVERIFY(std::abs(peaks[1].angle - 26.95) < 0.005);
        QVERIFY(std::abs(peaks[2].angle - 21.013) < 0.005);
        QCOMPARE(peaks[0].relative, 100.0);
        QVERIFY(std::abs(peaks[1].relative - 50) < 3);
        QVERIFY(std::abs(peaks[2].relative - 30) < 3);
        QVERIFY(peaks[0].counts > 1000 && peaks[0].counts < 1030);
        QCOMPARE(cli::findPeaks(pattern.angles, pattern.counts, 1).size(), 1);
    }
    void aScanOfFewOrEqualPointsHasNone()
    {
        QVERIFY(cli::findPeaks({}, {}, 3).isEmpty());
        QVERIFY(cli::findPeaks({10, 10.02}, {1, 2}, 3).isEmpty());
        QVERIFY(cli::findPeaks({10, 10.02, 10.04}, {0, 0, 0}, 3).isEmpty());
        QVERIFY(cli::findPeaks({10, 10, 10}, {0, 900, 0}, 3).isEmpty()); // angles that do not rise
    }
};

QTEST_GUILESS_MAIN(PeakSearchTest)
#include "tst_peaksearch.moc"

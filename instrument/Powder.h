// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a powder scatters: cell and atoms give lines, lines and the instrument's width give a count rate at any angle.
#pragma once

#include <array>
#include <string_view>
#include <vector>

namespace lab {

/// Copper radiation, wavelengths in angstrom; alpha 2 has `alpha2Share` times the intensity of alpha 1.
namespace copper {
inline constexpr double alpha1 = 1.540593;
inline constexpr double alpha2 = 1.544427;
inline constexpr double alpha2Share = 0.497;
} // namespace copper

/// Room temperature in kelvin: the cells of the samples are given for it.
inline constexpr double roomTemperature = 298.0;

/// Atomic scattering factor: sum of a exp(-b s^2), plus c, with s = sin(theta)/lambda in 1/angstrom.
struct Element
{
    std::array<double, 4> a;
    std::array<double, 4> b;
    double c;
};

struct Atom
{
    const Element* element;
    double x, y, z;
    double bIso; ///< displacement parameter, square angstrom
};

struct Cell
{
    double a, b, c;            ///< edges, angstrom
    double alpha, beta, gamma; ///< angles, degrees
};

struct Sample
{
    std::string_view name;         ///< as typed after --sample
    std::string_view title;        ///< as shown
    Cell cell;                     ///< at room temperature
    double expansionA, expansionC; ///< relative change of a (and b), and of c, per kelvin
    double peakRate;               ///< counts per second on top of the strongest line at 40 kV and 30 mA, without background
    std::vector<Atom> atoms;       ///< all atoms of the cell
};

/// Every sample that can be put into the beam.
const std::vector<Sample>& samples();
/// The sample of that name, or nullptr.
const Sample* findSample(std::string_view name);

/// One line of a powder, all planes of equal spacing together.
struct Line
{
    double d;         ///< spacing, angstrom
    double twoTheta;  ///< degrees, for copper K alpha 1
    double intensity; ///< integrated, strongest line 100
};

/// The lines of `sample` at `temperature` kelvin up to 165 degrees, by falling spacing.
std::vector<Line> powderLines(const Sample& sample, double temperature);

/// The count rate of a powder over the whole circle, worked out once and read off fast.
class Pattern
{
public:
    Pattern(const Sample& sample, double temperature);
    /// Counts per second at 40 kV and 30 mA with the detector at `twoTheta` degrees.
    double rate(double twoTheta) const;

private:
    void addProfile(double centre, double intensity);
    std::vector<double> table_;
};

/// Full width at half maximum of a line at `twoTheta`, degrees.
double lineWidth(double twoTheta);
/// Smooth background in counts per second, rising towards the direct beam.
double background(double twoTheta);

} // namespace lab

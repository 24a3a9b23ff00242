// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Powder.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace lab {

namespace {

constexpr double degree = std::numbers::pi / 180.0;
constexpr double highestAngle = 165.0;

// International Tables C, table 6.1.1.4
const Element boron{{2.0545, 1.3326, 1.0979, 0.7068}, {23.2185, 1.021, 60.3498, 0.1403}, -0.1932};
const Element oxygen{{3.0485, 2.2868, 1.5463, 0.867}, {13.2771, 5.7011, 0.3239, 32.9089}, 0.2508};
const Element siliconAtom{{6.2915, 3.0353, 1.9891, 1.541}, {2.4386, 32.3337, 0.6785, 81.6937}, 1.1407};
const Element lanthanum{{20.578, 19.599, 11.3727, 3.28719}, {2.94817, 0.244475, 18.7726, 133.124}, 2.14678};

// The six operations of P3(2)21.
void addTrigonal(std::vector<Atom>& atoms, const Element& element, double x, double y, double z, double bIso, bool special)
{
    const Atom first{&element, x, y, z, bIso};
    const Atom second{&element, -y, x - y, z + 2.0 / 3.0, bIso};
    const Atom third{&element, y - x, -x, z + 1.0 / 3.0, bIso};
    atoms.insert(atoms.end(), {first, second, third});
    if (special)
        return;
    const Atom fourth{&element, y, x, -z, bIso};
    const Atom fifth{&element, x - y, -y, 1.0 / 3.0 - z, bIso};
    const Atom sixth{&element, -x, y - x, 2.0 / 3.0 - z, bIso};
    atoms.insert(atoms.end(), {fourth, fifth, sixth});
}

Sample quartz()
{
    Sample sample{"quartz", "quartz, SiO2", {4.9134, 4.9134, 5.4052, 90.0, 90.0, 120.0}, 13.4e-6, 7.5e-6, 6000.0, {}};
    addTrigonal(sample.atoms, siliconAtom, 0.4699, 0.0, 2.0 / 3.0, 0.5, true);
    addTrigonal(sample.atoms, oxygen, 0.4141, 0.2681, 0.7854, 1.0, false);
    return sample;
}

Sample silicon()
{
    Sample sample{"silicon", "silicon, Si", {5.43102, 5.43102, 5.43102, 90.0, 90.0, 90.0}, 2.6e-6, 2.6e-6, 8000.0, {}};
    const double centring[4][3] = {{0.0, 0.0, 0.0}, {0.0, 0.5, 0.5}, {0.5, 0.0, 0.5}, {0.5, 0.5, 0.0}};
    for (const auto& shift : centring) {
        sample.atoms.push_back({&siliconAtom, 0.125 + shift[0], 0.125 + shift[1], 0.125 + shift[2], 0.5});
        sample.atoms.push_back({&siliconAtom, shift[0] - 0.125, shift[1] - 0.125, shift[2] - 0.125, 0.5});
    }
    return sample;
}

Sample lab6()
{
    Sample sample{"lab6", "lanthanum hexaboride, LaB6", {4.15689, 4.15689, 4.15689, 90.0, 90.0, 90.0}, 6.3e-6, 6.3e-6, 9000.0, {}};
    sample.atoms.push_back({&lanthanum, 0.0, 0.0, 0.0, 0.4});
    for (const double x : {0.1993, -0.1993}) {
        sample.atoms.push_back({&boron, x, 0.5, 0.5, 0.4});
        sample.atoms.push_back({&boron, 0.5, x, 0.5, 0.4});
        sample.atoms.push_back({&boron, 0.5, 0.5, x, 0.4});
    }
    return sample;
}

double scattering(const Element& element, double sSquared)
{
    double f = element.c;
    for (std::size_t i = 0; i < element.a.size(); ++i)
        f += element.a[i] * std::exp(-element.b[i] * sSquared);
    return f;
}

double structureFactorSquared(const Sample& sample, int h, int k, int l, double sSquared)
{
    std::complex<double> sum = 0.0;
    for (const Atom& atom : sample.atoms) {
        const double amplitude = scattering(*atom.element, sSquared) * std::exp(-atom.bIso * sSquared);
        sum += std::polar(amplitude, 2.0 * std::numbers::pi * (h * atom.x + k * atom.y + l * atom.z));
    }
    return std::norm(sum);
}

// Reciprocal metric: 1/d^2 of a plane.
struct Reciprocal
{
    explicit Reciprocal(const Cell& cell)
    {
        const double ca = std::cos(cell.alpha * degree);
        const double cb = std::cos(cell.beta * degree);
        const double cg = std::cos(cell.gamma * degree);
        const double root = 1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg;
        aa = (1.0 - ca * ca) / (root * cell.a * cell.a);
        bb = (1.0 - cb * cb) / (root * cell.b * cell.b);
        cc = (1.0 - cg * cg) / (root * cell.c * cell.c);
        ab = 2.0 * (ca * cb - cg) / (root * cell.a * cell.b);
        ac = 2.0 * (ca * cg - cb) / (root * cell.a * cell.c);
        bc = 2.0 * (cb * cg - ca) / (root * cell.b * cell.c);
    }
    double inverseSquare(int h, int k, int l) const { return aa * h * h + bb * k * k + cc * l * l + ab * h * k + ac * h * l + bc * k * l; }
    double aa, bb, cc, ab, ac, bc;
};

Cell heated(const Sample& sample, double temperature)
{
    Cell cell = sample.cell;
    const double difference = temperature - roomTemperature;
    cell.a *= 1.0 + sample.expansionA * difference;
    cell.b *= 1.0 + sample.expansionA * difference;
    cell.c *= 1.0 + sample.expansionC * difference;
    return cell;
}

double lorentzPolarisation(double theta)
{
    const double cosine2 = std::cos(2.0 * theta);
    const double sine = std::sin(theta);
    return (1.0 + cosine2 * cosine2) / (sine * sine * std::cos(theta));
}

struct Reflection
{
    double inverseSquare;
    double intensity;
};

// Every plane of the sphere that the wavelength reaches counts by itself, which is what multiplicity means.
std::vector<Reflection> allReflections(const Sample& sample, const Cell& cell)
{
    std::vector<Reflection> found;
    const Reciprocal reciprocal(cell);
    const double limit = 4.0 * std::pow(std::sin(highestAngle / 2.0 * degree) / copper::alpha1, 2);
    const double reach = std::sqrt(limit);
    const int hMax = static_cast<int>(cell.a * reach);
    const int kMax = static_cast<int>(cell.b * reach);
    const int lMax = static_cast<int>(cell.c * reach);
    for (int h = -hMax; h <= hMax; ++h)
        for (int k = -kMax; k <= kMax; ++k)
            for (int l = -lMax; l <= lMax; ++l) {
                const double inverseSquare = reciprocal.inverseSquare(h, k, l);
                if (inverseSquare < 1e-9 || inverseSquare > limit)
                    continue;
                const double theta = std::asin(copper::alpha1 * std::sqrt(inverseSquare) / 2.0);
                found.push_back({inverseSquare, structureFactorSquared(sample, h, k, l, inverseSquare / 4.0) * lorentzPolarisation(theta)});
            }
    std::sort(found.begin(), found.end(),
              [](const Reflection& one, const Reflection& other) { return one.inverseSquare < other.inverseSquare; });
    return found;
}

double bragg(double d, double wavelength)
{
    return 2.0 * std::asin(wavelength / (2.0 * d)) / degree;
}

// The table of a pattern: from `firstAngle` in steps of `tableStep` degrees.
constexpr double firstAngle = -15.0;
constexpr double lastAngle = 195.0;
constexpr double tableStep = 0.002;

// A pseudo-Voigt profile of unit area, half Gauss and half Lorentz.
double profile(double distance, double width)
{
    const double relative = distance / width;
    const double gauss =
        2.0 * std::sqrt(std::numbers::ln2 / std::numbers::pi) / width * std::exp(-4.0 * std::numbers::ln2 * relative * relative);
    const double lorentz = 2.0 / (std::numbers::pi * width) / (1.0 + 4.0 * relative * relative);
    return 0.5 * gauss + 0.5 * lorentz;
}

} // namespace

const std::vector<Sample>& samples()
{
    static const std::vector<Sample> all{quartz(), silicon(), lab6()};
    return all;
}

const Sample* findSample(std::string_view name)
{
    const auto& all = samples();
    const auto found = std::find_if(all.begin(), all.end(), [name](const Sample& sample) { return sample.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::vector<Line> powderLines(const Sample& sample, double temperature)
{
    std::vector<Line> lines;
    double previous = 0.0;
    for (const Reflection& reflection : allReflections(sample, heated(sample, temperature))) {
        if (lines.empty() || reflection.inverseSquare - previous > 1e-7) {
            const double d = 1.0 / std::sqrt(reflection.inverseSquare);
            lines.push_back({d, bragg(d, copper::alpha1), 0.0});
        }
        previous = reflection.inverseSquare;
        lines.back().intensity += reflection.intensity;
    }
    double strongest = 0.0;
    for (const Line& line : lines)
        strongest = std::max(strongest, line.intensity);
    std::erase_if(lines, [strongest](const Line& line) { return line.intensity < 1e-6 * strongest; });
    for (Line& line : lines)
        line.intensity *= 100.0 / strongest;
    return lines;
}

double lineWidth(double twoTheta)
{
    const double tangent = std::tan(std::clamp(twoTheta, 1.0, highestAngle) / 2.0 * degree);
    return std::sqrt(0.0065 * tangent * tangent - 0.0035 * tangent + 0.0062);
}

double background(double twoTheta)
{
    const double angle = std::fabs(twoTheta);
    return 18.0 + 900.0 * std::exp(-angle / 3.0) + 25.0 * std::exp(-angle / 30.0);
}

Pattern::Pattern(const Sample& sample, double temperature)
{
    table_.resize(static_cast<std::size_t>(std::llround((lastAngle - firstAngle) / tableStep)) + 1, 0.0);
    const std::vector<Line> lines = powderLines(sample, temperature);
    for (const Line& line : lines) {
        addProfile(line.twoTheta, line.intensity);
        if (copper::alpha2 < 2.0 * line.d)
            addProfile(bragg(line.d, copper::alpha2), copper::alpha2Share * line.intensity);
    }
    const double highest = *std::max_element(table_.begin(), table_.end());
    for (std::size_t i = 0; i < table_.size(); ++i)
        table_[i] = table_[i] * sample.peakRate / highest + background(firstAngle + static_cast<double>(i) * tableStep);
}

void Pattern::addProfile(double centre, double intensity)
{
    const double width = lineWidth(centre);
    const double reach = 30.0 * width;
    const auto position = [](double angle) {
        return std::clamp((angle - firstAngle) / tableStep, 0.0, (lastAngle - firstAngle) / tableStep);
    };
    const auto first = static_cast<std::size_t>(std::ceil(position(centre - reach)));
    const auto last = static_cast<std::size_t>(std::floor(position(centre + reach)));
    for (std::size_t i = first; i <= last; ++i)
        table_[i] += intensity * profile(firstAngle + static_cast<double>(i) * tableStep - centre, width);
}

double Pattern::rate(double twoTheta) const
{
    const double place = (std::clamp(twoTheta, firstAngle, lastAngle) - firstAngle) / tableStep;
    const std::size_t index = std::min(static_cast<std::size_t>(place), table_.size() - 2);
    const double part = place - static_cast<double>(index);
    return table_[index] * (1.0 - part) + table_[index + 1] * part;
}

} // namespace lab

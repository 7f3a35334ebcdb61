#include "report/SvgReport.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "core/Numbers.h"
#include "io/OutputFile.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

const char* const BeforeColour = "#b0b0b0";
const char* const AfterColour = "#2f6db5";

std::string Escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

// Shares of each bin, so meshes of different sizes compare by shape.
std::vector<double> Normalised(const std::vector<double>& counts) {
    double total = 0;
    for (double c : counts)
        total += c;
    std::vector<double> shares(counts.size(), 0);
    if (total > 0)
        for (std::size_t i = 0; i < counts.size(); ++i)
            shares[i] = counts[i] / total;
    return shares;
}

// One panel: paired bars per bin, grey before and blue after, with the bin
// labels underneath.
std::string Panel(double x, double y, double width, double height, const std::string& title,
                  const std::vector<double>& before, const std::vector<double>& after,
                  const std::vector<std::string>& labels, std::size_t labelEvery) {
    std::string svg;
    svg += "<text x=\"" + Number(x) + "\" y=\"" + Number(y - 12) + "\" class=\"title\">" + Escape(title) + "</text>\n";
    svg += "<rect x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" width=\"" + Number(width) + "\" height=\"" +
           Number(height) + "\" class=\"frame\"/>\n";
    double top = 0;
    for (double v : before)
        top = std::max(top, v);
    for (double v : after)
        top = std::max(top, v);
    if (top <= 0)
        top = 1;
    const std::size_t bins = before.size();
    const double slot = width / static_cast<double>(bins);
    for (std::size_t i = 0; i < bins; ++i) {
        const double left = x + slot * static_cast<double>(i);
        const double heights[2] = {before[i] / top * (height - 10), after[i] / top * (height - 10)};
        const char* colours[2] = {BeforeColour, AfterColour};
        for (int k = 0; k < 2; ++k)
            if (heights[k] > 0)
                svg += "<rect x=\"" + Number(left + slot * (0.1 + 0.4 * k)) + "\" y=\"" +
                       Number(y + height - heights[k]) + "\" width=\"" + Number(slot * 0.4) + "\" height=\"" +
                       Number(heights[k]) + "\" fill=\"" + colours[k] + "\"/>\n";
        if (i % labelEvery == 0)
            svg += "<text x=\"" + Number(left + slot * 0.5) + "\" y=\"" + Number(y + height + 16) +
                   "\" class=\"label\">" + Escape(labels[i]) + "</text>\n";
    }
    char peak[32];
    std::snprintf(peak, sizeof peak, "%.0f %%", 100 * top);
    svg += "<text x=\"" + Number(x - 6) + "\" y=\"" + Number(y + 14) + "\" class=\"axis\">" + peak + "</text>\n";
    return svg;
}

}  // namespace

void WriteSvgReport(const std::string& fileName, const CMeshStatistics& before, const CMeshStatistics& after,
                    double targetLength, const std::string& title) {
    // Edge lengths in units of the target, 0 to 3 in 30 bins; longer edges
    // fall in the last bin.
    const std::size_t lengthBins = 30;
    const double range = 3.0;
    auto lengthHistogram = [&](const CMeshStatistics& s) {
        std::vector<double> counts(lengthBins, 0);
        for (double length : s.m_EdgeLengths) {
            const double ratio = length / targetLength;
            const std::size_t bin =
                ratio >= range ? lengthBins - 1 : static_cast<std::size_t>(ratio / range * lengthBins);
            ++counts[std::min(bin, lengthBins - 1)];
        }
        return Normalised(counts);
    };
    std::vector<std::string> lengthLabels;
    for (std::size_t i = 0; i < lengthBins; ++i)
        lengthLabels.push_back(FormatQuantity(range * static_cast<double>(i) / lengthBins, 2));

    // Valences 3 to 12; higher ones share the last bin.
    const std::size_t lowest = 3, highest = 12;
    auto valenceHistogram = [&](const CMeshStatistics& s) {
        std::vector<double> counts(highest - lowest + 1, 0);
        for (std::size_t valence = 0; valence < s.m_InteriorValences.size(); ++valence) {
            const std::size_t bin = std::min(std::max(valence, lowest), highest) - lowest;
            counts[bin] += static_cast<double>(s.m_InteriorValences[valence]);
        }
        return Normalised(counts);
    };
    std::vector<std::string> valenceLabels;
    for (std::size_t v = lowest; v <= highest; ++v)
        valenceLabels.push_back(v == highest ? std::to_string(v) + "+" : std::to_string(v));

    std::string svg =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"760\" height=\"640\" viewBox=\"0 0 760 640\">\n"
        "<style>text{font-family:sans-serif;font-size:12px;fill:#222}.title{font-size:15px;font-weight:bold}"
        ".label{text-anchor:middle;font-size:10px}.axis{text-anchor:end;font-size:10px}"
        ".frame{fill:none;stroke:#888;stroke-width:1}</style>\n"
        "<rect width=\"760\" height=\"640\" fill=\"white\"/>\n";
    svg += "<text x=\"60\" y=\"30\" class=\"title\">" + Escape(title) + "</text>\n";
    svg += "<rect x=\"60\" y=\"44\" width=\"12\" height=\"12\" fill=\"" + std::string(BeforeColour) +
           "\"/><text x=\"78\" y=\"55\">input</text>\n";
    svg += "<rect x=\"140\" y=\"44\" width=\"12\" height=\"12\" fill=\"" + std::string(AfterColour) +
           "\"/><text x=\"158\" y=\"55\">output</text>\n";
    svg += Panel(60, 100, 660, 200, "Edge length / target length (share of edges)", lengthHistogram(before),
                 lengthHistogram(after), lengthLabels, 5);
    svg += Panel(60, 380, 660, 200, "Valence of interior vertices (share of vertices; 6 is regular)",
                 valenceHistogram(before), valenceHistogram(after), valenceLabels, 1);
    svg += "</svg>\n";

    COutputFile out(fileName);
    out.Write(svg);
    out.Commit();
}

}  // namespace Corvane::Pellix::Quorvel::Tool

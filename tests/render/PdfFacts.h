// What a test can read from a PDF without a PDF library: pages, their sizes, the fonts named.
#pragma once

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace qm::testing {

inline std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// The page objects of a PDF ("/Type /Page", not "/Pages"), in file order.
/// Page dictionaries are never compressed in the PDFs cairo writes.
inline int pdfPageCount(const std::string& pdf)
{
    static const std::regex page(R"(/Type\s*/Page(?![s\w]))");
    return static_cast<int>(std::distance(std::sregex_iterator(pdf.begin(), pdf.end(), page), std::sregex_iterator()));
}

/// Each page's MediaBox width and height in points, in file order.
inline std::vector<std::pair<double, double>> pdfMediaBoxes(const std::string& pdf)
{
    static const std::regex box(R"(/MediaBox\s*\[\s*0\s+0\s+([\d.]+)\s+([\d.]+)\s*\])");
    std::vector<std::pair<double, double>> out;
    for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), box); it != std::sregex_iterator(); ++it)
        out.emplace_back(std::stod((*it)[1].str()), std::stod((*it)[2].str()));
    return out;
}

/// The base fonts embedded, subset tags removed ("LiberationSerif-Bold").
inline std::vector<std::string> pdfFonts(const std::string& pdf)
{
    static const std::regex font(R"(/BaseFont\s*/(?:[A-Z]{6}\+)?([\w-]+))");
    std::vector<std::string> out;
    for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), font); it != std::sregex_iterator(); ++it)
        out.push_back((*it)[1].str());
    return out;
}

} // namespace qm::testing

// Throughput benchmark: documents counted per second, every extra of a profile switched on.
//
// Generates a deterministic set of transcription-like documents of two to
// five pages in each format (.txt, .rtf, .docx, .odt, .doc), counts
// each one as a count run does with a profile that switches every extra on
// (billed per line, so Countlines calls every measurement), adds the gross
// lines and the pages, and prints documents per second per format on one core.
#include "app/WizardEngine.h"

// The in-memory Word 97-2003 writer the reader's tests build their files with.
#include "DocFixture.h"

#include <zip.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

const char* const words[] = {"patient", "reports", "the", "history", "of", "pain", "in", "left", "knee", "and",
                             "was", "seen", "today", "for", "review", "blood", "pressure", "is", "stable", "with",
                             "no", "new", "complaints", "she", "will", "return", "in", "three", "months", "plan"};

struct Paragraph {
    std::vector<std::pair<std::string, char>> runs; // text and format: ' ', 'b', 'i', 'u'
    bool tab = false;
};

// About 2 to 5 pages of paragraphs of 40 to 90 words, some runs formatted.
std::vector<Paragraph> makeText(std::mt19937& rng)
{
    std::vector<Paragraph> text;
    const int paragraphs = std::uniform_int_distribution<int>(22, 44)(rng);
    for (int p = 0; p < paragraphs; ++p) {
        Paragraph para;
        para.tab = rng() % 4 == 0;
        const int count = std::uniform_int_distribution<int>(40, 90)(rng);
        std::string run;
        for (int w = 0; w < count; ++w) {
            std::string word = words[rng() % std::size(words)];
            if (w == 0)
                word[0] = char(std::toupper(word[0]));
            if (rng() % 12 == 0) {
                para.runs.emplace_back(run, ' ');
                para.runs.emplace_back(word, "biu"[rng() % 3]);
                run = " ";
                continue;
            }
            run += word + (w + 1 == count ? "." : " ");
        }
        para.runs.emplace_back(run, ' ');
        text.push_back(std::move(para));
    }
    return text;
}

std::string xmlEscape(const std::string& s)
{
    std::string out;
    for (char c : s)
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    return out;
}

void writeZip(const fs::path& path, const std::vector<std::pair<std::string, std::string>>& parts)
{
    int error = 0;
    zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    for (const auto& [name, data] : parts) {
        zip_source_t* source = zip_source_buffer(zip, data.data(), data.size(), 0);
        zip_file_add(zip, name.c_str(), source, ZIP_FL_OVERWRITE);
    }
    zip_close(zip); // copies the buffers, which live until here
}

void writeTxt(const fs::path& path, const std::vector<Paragraph>& text)
{
    std::ofstream out(path, std::ios::binary);
    for (const Paragraph& p : text) {
        if (p.tab)
            out << '\t';
        for (const auto& [run, format] : p.runs)
            out << run;
        out << "\r\n";
    }
}

void writeRtf(const fs::path& path, const std::vector<Paragraph>& text)
{
    std::ofstream out(path, std::ios::binary);
    out << "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0\\froman Times New Roman;}}"
           "{\\header\\pard Example Clinic\\par}{\\footer\\pard Transcribed by Demo\\par}\n";
    for (const Paragraph& p : text) {
        out << "\\pard\\f0\\fs24 " << (p.tab ? "\\tab " : "");
        for (const auto& [run, format] : p.runs)
            out << (format == 'b' ? "{\\b " : format == 'i' ? "{\\i " : format == 'u' ? "{\\ul " : "{") << run << "}";
        out << "\\par\n";
    }
    out << "}";
}

void writeDocx(const fs::path& path, const std::vector<Paragraph>& text)
{
    const std::string ns = "xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\" "
                           "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\"";
    std::string body;
    for (const Paragraph& p : text) {
        body += "<w:p>";
        if (p.tab)
            body += "<w:r><w:tab/></w:r>";
        for (const auto& [run, format] : p.runs) {
            body += "<w:r>";
            if (format != ' ')
                body += format == 'b' ? "<w:rPr><w:b/></w:rPr>" : format == 'i' ? "<w:rPr><w:i/></w:rPr>"
                                                                                : "<w:rPr><w:u w:val=\"single\"/></w:rPr>";
            body += "<w:t xml:space=\"preserve\">" + xmlEscape(run) + "</w:t></w:r>";
        }
        body += "</w:p>";
    }
    body += "<w:sectPr><w:headerReference w:type=\"default\" r:id=\"h\"/><w:pgSz w:w=\"12240\" w:h=\"15840\"/>"
            "<w:pgMar w:top=\"1440\" w:right=\"1440\" w:bottom=\"1440\" w:left=\"1440\" w:header=\"720\" "
            "w:footer=\"720\"/></w:sectPr>";
    writeZip(path,
             {{"[Content_Types].xml",
               "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\"><Default Extension=\"rels\" "
               "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/><Default Extension=\"xml\" "
               "ContentType=\"application/xml\"/><Override PartName=\"/word/document.xml\" "
               "ContentType=\"application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml\"/>"
               "</Types>"},
              {"_rels/.rels",
               "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\"><Relationship "
               "Id=\"d\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument\" "
               "Target=\"word/document.xml\"/></Relationships>"},
              {"word/_rels/document.xml.rels",
               "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\"><Relationship "
               "Id=\"h\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/header\" "
               "Target=\"header1.xml\"/></Relationships>"},
              {"word/header1.xml", "<w:hdr " + ns + "><w:p><w:r><w:t>Example Clinic</w:t></w:r></w:p></w:hdr>"},
              {"word/document.xml", "<w:document " + ns + "><w:body>" + body + "</w:body></w:document>"}});
}

void writeOdt(const fs::path& path, const std::vector<Paragraph>& text)
{
    std::string body;
    for (const Paragraph& p : text) {
        body += "<text:p>";
        if (p.tab)
            body += "<text:tab/>";
        for (const auto& [run, format] : p.runs)
            body += format == ' ' ? xmlEscape(run)
                                  : std::string("<text:span text:style-name=\"") + format + "\">" + xmlEscape(run) +
                                        "</text:span>";
        body += "</text:p>";
    }
    const std::string content =
        "<office:document-content xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
        "xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\" "
        "xmlns:style=\"urn:oasis:names:tc:opendocument:xmlns:style:1.0\" "
        "xmlns:fo=\"urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0\"><office:automatic-styles>"
        "<style:style style:name=\"b\" style:family=\"text\"><style:text-properties fo:font-weight=\"bold\"/>"
        "</style:style><style:style style:name=\"i\" style:family=\"text\"><style:text-properties "
        "fo:font-style=\"italic\"/></style:style><style:style style:name=\"u\" style:family=\"text\">"
        "<style:text-properties style:text-underline-style=\"solid\"/></style:style></office:automatic-styles>"
        "<office:body><office:text>" +
        body + "</office:text></office:body></office:document-content>";
    writeZip(path, {{"mimetype", "application/vnd.oasis.opendocument.text"}, {"content.xml", content}});
}

void writeDoc(const fs::path& path, const std::vector<Paragraph>& text)
{
    namespace fixture = qm::engine::doc::test;
    fixture::DocSpec spec;
    for (const Paragraph& p : text) {
        if (p.tab)
            spec.text += u'\t';
        for (const auto& [run, format] : p.runs) {
            const uint32_t from = uint32_t(spec.text.size());
            spec.text += std::u16string(run.begin(), run.end()); // the generated text is ASCII
            if (format != ' ')
                spec.chars.push_back({from, uint32_t(spec.text.size()),
                                      format == 'b'   ? fixture::sprm(0x0835, {1})
                                      : format == 'i' ? fixture::sprm(0x0836, {1})
                                                      : fixture::sprm(0x2A3E, {1})});
        }
        spec.text += u'\r';
        spec.paras.push_back({uint32_t(spec.text.size()), 0, {}});
    }
    std::ofstream(path, std::ios::binary) << fixture::buildDoc(spec);
}

// Every flag of the profile record on, billed per line.
const std::map<std::string, std::string> everyExtra = {
    {"DonePer", "Line"},         {"CharPerLine", "65"},           {"LineCountWithSpaces", "1"},
    {"CountCaps", "1"},          {"CountTabs", "1"},              {"BoldONOFF2", "1"},
    {"UnderLineONOFF2", "1"},    {"ItalicONOFF2", "1"},           {"SuperScriptCharsONOFF", "1"},
    {"SubScriptCharsONOFF", "1"}, {"CountBoldCharAs2", "1"},      {"CountUnderlineCharAs2", "1"},
    {"CountTables", "1"},        {"CountItalicCharAs2", "1"},     {"CountReturnAndEnter", "1"},
    {"EnterAmount", "1.5"},      {"TraverseHeaderAndFooter", "1"}, {"TraverseHeaderAndFooterFirstPage", "1"},
    {"DoNotCountBlankLine", "1"},
};

} // namespace

int main(int argc, char** argv)
{
    const int perFormat = argc > 1 ? std::max(1, std::atoi(argv[1])) : 500;
    const fs::path folder = fs::temp_directory_path() / ("qm-throughput-" + std::to_string(::getpid()));
    fs::create_directories(folder / "settings");
    {
        std::ofstream profiles(folder / "settings" / "Profiles.ini", std::ios::binary);
        profiles << "[Everything]\r\n";
        for (const auto& [key, value] : everyExtra)
            profiles << key << "=" << value << "\r\n";
    }
    struct Format {
        const char* extension;
        void (*write)(const fs::path&, const std::vector<Paragraph>&);
    };
    const Format formats[] = {
        {"txt", writeTxt}, {"rtf", writeRtf}, {"docx", writeDocx}, {"odt", writeOdt}, {"doc", writeDoc}};
    std::mt19937 rng(20261122);
    std::map<std::string, std::vector<fs::path>> files;
    for (const Format& f : formats)
        for (int i = 0; i < perFormat; ++i) {
            const fs::path path = folder / ("doc" + std::to_string(i) + "." + f.extension);
            f.write(path, makeText(rng));
            files[f.extension].push_back(path);
        }

    qm::RecordingPrompter prompter;
    std::printf("%-6s %7s %10s %10s %12s\n", "format", "docs", "docs/s", "pages", "ms/doc");
    size_t allDocs = 0;
    double allSeconds = 0;
    for (const Format& f : formats) {
        qm::app::WizardEngine engine(prompter, qm::settings::SettingsContext{folder / "settings"},
                                     [] { return std::string("Everything"); });
        engine.OpenWord(false);
        int64_t pages = 0;
        const auto start = Clock::now();
        for (const fs::path& path : files[f.extension]) {
            if (!engine.openJustDoc(path, true))
                continue;
            engine.measure(qm::app::Measurement::Lines, path, "Everything");
            pages += int64_t(engine.measure(qm::app::Measurement::Pages, path, "Everything"));
            engine.measure(qm::app::Measurement::GrossLines, path, "Everything");
            engine.CloseDocument();
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        engine.CompleteClose();
        const size_t docs = files[f.extension].size();
        allDocs += docs;
        allSeconds += seconds;
        std::printf("%-6s %7zu %10.0f %10.2f %12.2f\n", f.extension, docs, docs / seconds, double(pages) / docs,
                    1000 * seconds / docs);
    }
    std::printf("%-6s %7zu %10.0f\n", "all", allDocs, allDocs / allSeconds);
    if (!prompter.messages.empty())
        std::printf("%zu error reports, the first: %s\n", prompter.messages.size(), prompter.messages[0].text.c_str());
    fs::remove_all(folder);
    return 0;
}

// Gathering a document's figures through the access layer.
#include "engine/access/DocumentSummary.h"

namespace qm::engine {

std::string_view headerFooterName(HeaderFooterIndex index)
{
    switch (index) {
    case HeaderFooterIndex::Primary: return "primary";
    case HeaderFooterIndex::FirstPage: return "first page";
    case HeaderFooterIndex::EvenPages: return "even pages";
    }
    return "unknown";
}

DocumentSummary summarizeDocument(DocumentAccess& access)
{
    const Document& doc = access.document();
    DocumentSummary summary;
    summary.format = doc.format;
    summary.statistics = computeWordStatistics(doc);
    summary.tables = access.tablesCount();

    Range content = access.content();
    content.find().setText(u"<*>");
    content.find().setSyntax(PatternSyntax::Wildcards);
    summary.wordMatches = content.countAll().replaced;

    const StatisticOutcome lines = access.builtInProperty(BuiltInProperty::Lines);
    const StatisticOutcome pages = access.builtInProperty(BuiltInProperty::Pages);
    if (lines.ok())
        summary.lines = lines.value;
    if (pages.ok())
        summary.pages = pages.value;

    for (size_t section = 1; section <= access.sectionsCount(); ++section) {
        for (bool header : {true, false}) {
            HeadersFooters list = header ? access.headers(section) : access.footers(section);
            for (int i = 1; i <= list.count(); ++i) {
                Range range = list.item(i);
                if (!range.exists())
                    continue;
                StorySummary s;
                s.section = section;
                s.header = header;
                s.index = static_cast<HeaderFooterIndex>(i);
                s.story = static_cast<int32_t>(range.story());
                const Section& own = doc.sections[section - 1];
                s.inherited = (header ? own.headers : own.footers)[static_cast<size_t>(i - 1)] < 0;
                s.statistics = computeWordStatistics(doc, range.story());
                summary.stories.push_back(s);
            }
        }
    }
    summary.diagnostics = doc.diagnostics;
    summary.stored = doc.stored;
    return summary;
}

} // namespace qm::engine

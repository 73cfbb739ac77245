// Formats whose reader is not part of the build answer with a clear error.
#include "engine/formats/Reader.h"

namespace qm::engine {

#ifdef QM_WITHOUT_TXT_READER
ReadResult readPlainText(std::string_view, const ReadOptions&) { return ReadResult::failure("text documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_RTF_READER
ReadResult readRtf(std::string_view, const ReadOptions&) { return ReadResult::failure("RTF documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_DOCX_READER
ReadResult readDocx(std::string_view, const ReadOptions&) { return ReadResult::failure("Word documents cannot be read yet"); }
ReadResult readFlatOpc(std::string_view, const ReadOptions&) { return ReadResult::failure("Word documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_ODT_READER
ReadResult readOdt(std::string_view, const ReadOptions&) { return ReadResult::failure("OpenDocument documents cannot be read yet"); }
ReadResult readFlatOdt(std::string_view, const ReadOptions&) { return ReadResult::failure("OpenDocument documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_DOC_READER
ReadResult readDoc(std::string_view, const ReadOptions&) { return ReadResult::failure("Word 97-2003 documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_HTML_READER
ReadResult readHtml(std::string_view, const ReadOptions&) { return ReadResult::failure("web pages cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_WORDML_READER
ReadResult readWordMl(std::string_view, const ReadOptions&) { return ReadResult::failure("Word 2003 XML documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_WPD_READER
ReadResult readWordPerfect(std::string_view, const ReadOptions&) { return ReadResult::failure("WordPerfect documents cannot be read yet"); }
ReadResult readWorks(std::string_view, const ReadOptions&) { return ReadResult::failure("Works documents cannot be read yet"); }
bool isWordPerfectDocument(std::string_view) { return false; }
bool isWorksDocument(std::string_view) { return false; }
#endif

} // namespace qm::engine

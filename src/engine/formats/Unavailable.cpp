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
#endif
#ifdef QM_WITHOUT_ODT_READER
ReadResult readOdt(std::string_view, const ReadOptions&) { return ReadResult::failure("OpenDocument documents cannot be read yet"); }
ReadResult readFlatOdt(std::string_view, const ReadOptions&) { return ReadResult::failure("OpenDocument documents cannot be read yet"); }
#endif
#ifdef QM_WITHOUT_DOC_READER
ReadResult readDoc(std::string_view, const ReadOptions&) { return ReadResult::failure("Word 97-2003 documents cannot be read yet"); }
#endif

} // namespace qm::engine

// Formats whose readers have not landed yet answer with a clear error.
#include "engine/formats/Reader.h"

namespace qm::engine {

ReadResult readPlainText(std::string_view, const ReadOptions&) { return ReadResult::failure("text documents cannot be read yet"); }
ReadResult readRtf(std::string_view, const ReadOptions&) { return ReadResult::failure("RTF documents cannot be read yet"); }
ReadResult readDocx(std::string_view, const ReadOptions&) { return ReadResult::failure("Word documents cannot be read yet"); }
ReadResult readOdt(std::string_view, const ReadOptions&) { return ReadResult::failure("OpenDocument documents cannot be read yet"); }
ReadResult readFlatOdt(std::string_view, const ReadOptions&) { return ReadResult::failure("OpenDocument documents cannot be read yet"); }
ReadResult readDoc(std::string_view, const ReadOptions&) { return ReadResult::failure("Word 97-2003 documents cannot be read yet"); }

} // namespace qm::engine

// Cairo font faces for the font files the layout measured with.
#include "render/FontFaces.h"

#include <cairo-ft.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <map>
#include <memory>
#include <string>

namespace qm::render {

namespace {

struct FaceStore {
    FT_Library library = nullptr;
    std::map<std::string, std::unique_ptr<DrawFace>> byFile;

    FaceStore()
    {
        if (FT_Init_FreeType(&library) != 0)
            library = nullptr;
    }
};

// Held for the life of the process: cairo keeps its own references to the
// faces, and a face handed to cairo must outlive every use cairo makes of it.
FaceStore& store()
{
    static FaceStore* s = new FaceStore;
    return *s;
}

FT_Face openMember(FT_Library library, const std::string& file, const std::string& family)
{
    FT_Face first = nullptr;
    if (FT_New_Face(library, file.c_str(), 0, &first) != 0)
        return nullptr;
    // A collection holds several faces; fontconfig matched one of them by
    // family, so the same family is looked for here.
    if (first->num_faces <= 1 || (first->family_name && family == first->family_name))
        return first;
    const FT_Long count = first->num_faces;
    for (FT_Long i = 1; i < count; ++i) {
        FT_Face member = nullptr;
        if (FT_New_Face(library, file.c_str(), i, &member) != 0)
            continue;
        if (member->family_name && family == member->family_name) {
            FT_Done_Face(first);
            return member;
        }
        FT_Done_Face(member);
    }
    return first;
}

} // namespace

std::mutex& renderLock()
{
    static std::mutex m;
    return m;
}

unsigned DrawFace::glyph(char32_t c) const
{
    return ftFace ? FT_Get_Char_Index(static_cast<FT_Face>(ftFace), c) : 0;
}

const DrawFace* drawFaceFor(const engine::layout::Face& face)
{
    FaceStore& s = store();
    if (auto it = s.byFile.find(face.file()); it != s.byFile.end())
        return it->second.get();
    if (!s.library)
        return nullptr;
    FT_Face ft = openMember(s.library, face.file(), face.family());
    if (!ft) {
        s.byFile.emplace(face.file(), nullptr);
        return nullptr;
    }
    FT_Select_Charmap(ft, FT_ENCODING_UNICODE);
    auto draw = std::make_unique<DrawFace>();
    draw->ftFace = ft;
    draw->cairo = cairo_ft_font_face_create_for_ft_face(ft, 0);
    if (ft->units_per_EM > 0 && FT_IS_SCALABLE(ft)) {
        const double em = ft->units_per_EM;
        if (ft->underline_thickness > 0)
            draw->underlineThickness = ft->underline_thickness / em;
        // FreeType gives the position of the line's centre, negative below
        // the baseline.
        draw->underlinePosition = -ft->underline_position / em;
    }
    const DrawFace* result = draw.get();
    s.byFile.emplace(face.file(), std::move(draw));
    return result;
}

} // namespace qm::render

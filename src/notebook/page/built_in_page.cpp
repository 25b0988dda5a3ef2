// The page's files within the program. KT_PAGE_FOLDER is where the build has them.
#include <string_view>

#include "notebook/page/page_files.h"

// KT_EMBED(page_js, "page.js"): the file's bytes between the symbols kt_page_js and kt_page_js_end.
#define KT_EMBED(symbol, file)                                               \
  asm(".pushsection .rodata\n"                                               \
      "kt_" #symbol ":\n.incbin \"" KT_PAGE_FOLDER "/" file                  \
      "\"\n"                                                                 \
      "kt_" #symbol "_end:\n.byte 0\n.popsection\n");                        \
  extern "C" const char kt_##symbol[] __attribute__((visibility("hidden"))); \
  extern "C" const char kt_##symbol##_end[] __attribute__((visibility("hidden")))

KT_EMBED(index_html, "index.html");
KT_EMBED(page_js, "page.js");
KT_EMBED(page_css, "page.css");
KT_EMBED(licences_txt, "licences.txt");

namespace ktnotebook {

std::optional<std::string> BuiltInPageFiles::Find(const std::string& name) const {
  const struct {
    std::string_view name;
    const char* begin;
    const char* end;
  } files[] = {{"index.html", kt_index_html, kt_index_html_end},
               {"page.js", kt_page_js, kt_page_js_end},
               {"page.css", kt_page_css, kt_page_css_end},
               {"licences.txt", kt_licences_txt, kt_licences_txt_end}};
  for (const auto& file : files) {
    if (file.name == name) return std::string(file.begin, file.end);
  }
  return std::nullopt;
}

}  // namespace ktnotebook

// @FILE, as the compiler reads it: words between white space; quotes of both
// kinds hold them together, and a backslash takes the next character as it is.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "request.h"
#include "tools/read_file.h"

namespace {

constexpr int kMostFiles = 2000;  // so that a file that names itself ends

Words words_of(const std::string& text) {
  Words words;
  std::string word;
  bool inside = false;
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (!quote && std::isspace(static_cast<unsigned char>(c))) {
      if (inside) words.push_back(word);
      word.clear();
      inside = false;
      continue;
    }
    inside = true;
    if (c == '\\' && i + 1 < text.size()) {
      word += text[++i];
    } else if (quote ? c == quote : c == '\'' || c == '"') {
      quote = quote ? '\0' : c;
    } else {
      word += c;
    }
  }
  if (inside) words.push_back(word);
  return words;
}

}  // namespace

std::string expand_response_files(Words* words) {
  int files = 0;
  for (std::size_t i = 0; i < words->size();) {
    const std::string word = (*words)[i];
    std::string text;
    // As in the compiler, a word whose file does not exist is taken as it is.
    if (word.size() < 2 || word[0] != '@' || read_file(word.substr(1), &text)) {
      ++i;
      continue;
    }
    if (++files > kMostFiles) return word + ": too many response files";
    const Words inner = words_of(text);
    const auto at = words->erase(words->begin() + static_cast<std::ptrdiff_t>(i));
    words->insert(at, inner.begin(), inner.end());
  }
  return {};
}

#include "core/CStringArray.h"

#include "core/Exception.h"

#include <cstdlib>
#include <cstring>

namespace base::core {

CStringArray::CStringArray(const std::vector<String>& list) : CStringArray() {
    for (const String& text : list)
        add(text.toStdString());
}

CStringArray::~CStringArray() {
    for (char* text : texts)
        std::free(text);
}

void CStringArray::add(const std::string& text) {
    char* copy = strdup(text.c_str());
    if (copy == nullptr)
        throw IOException("Could not allocate memory for argument to process");
    texts.back() = copy;
    texts.push_back(nullptr);
}

} // namespace base::core

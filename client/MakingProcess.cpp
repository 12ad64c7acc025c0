#include "client/MakingProcess.h"

#include <vector>

void MakingProcess::leave(const Object* copy) {
    static auto& copies = *new std::vector<const Object*>;
    copies.push_back(copy);
}

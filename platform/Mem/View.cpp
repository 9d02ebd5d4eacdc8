#include "Mem/View.h"

#include "Norvu/Exception.h"

namespace Mem {

void View::outside(std::size_t offset, std::size_t size) const {
    Norvu::CorruptionDetectedException::throwException(
        "Mem::View::check() " + (name_ != nullptr ? *name_ : std::string("unmapped")) +
        " offset: " + std::to_string(offset) + " length: " + std::to_string(size) +
        " is beyond the mapped size: " + std::to_string(size_));
}

void MutableView::misplaced(std::size_t offset, std::size_t size) const {
    Norvu::debugAndThrowAssertException(nullptr, 0,
                                        "Mem::MutableView::at() misplaced store, offset: " + std::to_string(offset) +
                                            " length: " + std::to_string(size) +
                                            " mapped size: " + std::to_string(this->size()),
                                        "Mem/View", __LINE__, "at");
}

} // namespace Mem

#include "vst3/Vst3AttributeList.h"

#include "core/TextEncoding.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// Any bytes are a valid key, since no exception may reach a plug-in.
String keyOf(Vst::IAttributeList::AttrID id) {
    return id != nullptr ? String(id, std::strlen(id), base::core::Latin1Encoding::instance) : String();
}

} // namespace

Vst3AttributeList::Vst3AttributeList(Vst3Host* host) : host(host) {}

Vst3AttributeList::~Vst3AttributeList() = default;

tresult Vst3AttributeList::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Vst::IAttributeList::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Vst::IAttributeList>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3AttributeList::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3AttributeList::release() {
    const uint32_t left = --refCount;
    if (left == 0)
        delete this;
    return left;
}

tresult Vst3AttributeList::setInt(AttrID id, Steinberg::int64 value) {
    store(id, {.value = {.integer = value}, .size = 0, .kind = Kind::integer});
    return kResultOk;
}

tresult Vst3AttributeList::getInt(AttrID id, Steinberg::int64& value) {
    const auto held = values.lock();
    const Attribute* attribute = held->find(id);
    if (attribute == nullptr)
        return kResultFalse;
    std::memcpy(&value, &attribute->value, sizeof value);
    return kResultOk;
}

tresult Vst3AttributeList::setFloat(AttrID id, double value) {
    store(id, {.value = {.floatingPoint = value}, .size = 0, .kind = Kind::floatingPoint});
    return kResultOk;
}

tresult Vst3AttributeList::getFloat(AttrID id, double& value) {
    const auto held = values.lock();
    const Attribute* attribute = held->find(id);
    if (attribute == nullptr)
        return kResultFalse;
    std::memcpy(&value, &attribute->value, sizeof value);
    return kResultOk;
}

tresult Vst3AttributeList::setString(AttrID id, const Vst::TChar*) {
    const auto held = values.lock();
    held->remove(keyOf(id));
    return kResultOk;
}

tresult Vst3AttributeList::getString(AttrID id, Vst::TChar* string, Steinberg::uint32 sizeInBytes) {
    const auto held = values.lock();
    const Attribute* attribute = held->find(id);
    if (attribute == nullptr)
        return kResultFalse;
    const size_t characters = std::min(attribute->size, sizeInBytes);
    const size_t bytes = std::min<size_t>(characters * sizeof(Vst::TChar), sizeInBytes);
    if (bytes > 0)
        std::memcpy(string, attribute->value.data, bytes);
    return kResultOk;
}

tresult Vst3AttributeList::setBinary(AttrID id, const void* data, Steinberg::uint32 sizeInBytes) {
    Attribute attribute{.value = {.integer = 0}, .size = sizeInBytes, .kind = Kind::binary};
    if (sizeInBytes > 0) {
        // Zeroed, and with room for the doubled copy of `getString`.
        attribute.value.data = std::calloc(sizeInBytes, sizeof(Vst::TChar));
        if (attribute.value.data == nullptr)
            return kOutOfMemory;
        std::memcpy(attribute.value.data, data, sizeInBytes);
    }
    store(id, attribute);
    return kResultOk;
}

tresult Vst3AttributeList::getBinary(AttrID id, const void*& data, Steinberg::uint32& sizeInBytes) {
    const auto held = values.lock();
    const Attribute* attribute = held->find(id);
    sizeInBytes = attribute != nullptr ? attribute->size : 0;
    if (attribute == nullptr)
        return kResultFalse;
    data = attribute->value.data;
    return kResultOk;
}

void Vst3AttributeList::store(AttrID id, const Attribute& attribute) {
    const String key = keyOf(id);
    const auto held = values.lock();
    held->store(key, attribute);
}

Vst3AttributeList::Values::~Values() {
    while (!attributes.empty())
        remove(attributes.begin()->first);
}

void Vst3AttributeList::Values::store(const String& key, const Attribute& attribute) {
    remove(key);
    attributes[key] = attribute;
}

void Vst3AttributeList::Values::remove(const String& key) {
    const auto found = attributes.find(key);
    if (found == attributes.end())
        return;
    if (found->second.size != 0)
        std::free(found->second.value.data);
    attributes.erase(found);
}

const Vst3AttributeList::Attribute* Vst3AttributeList::Values::find(AttrID id) const {
    const auto found = attributes.find(keyOf(id));
    return found != attributes.end() ? &found->second : nullptr;
}

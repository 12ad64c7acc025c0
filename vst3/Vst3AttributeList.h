#pragma once

#include "core/Guarded.h"
#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <atomic>
#include <map>
#include <pluginterfaces/vst/ivstattributes.h>

class Vst3Host;

/// The attributes of messages, each a value under an id. Frees itself with its last reference. Getters return
/// the stored value without a check of its kind. Any thread; the lock is never held during a call out.
class Vst3AttributeList final : public Vst::IAttributeList {
public:
    /// Starts with a count of 1.
    explicit Vst3AttributeList(Vst3Host* host);
    virtual ~Vst3AttributeList();

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;

    tresult PLUGIN_API setInt(AttrID id, Steinberg::int64 value) override;
    tresult PLUGIN_API getInt(AttrID id, Steinberg::int64& value) override;
    tresult PLUGIN_API setFloat(AttrID id, double value) override;
    tresult PLUGIN_API getFloat(AttrID id, double& value) override;
    /// Oddity attribute-texts-dropped: removes the former value and stores nothing.
    tresult PLUGIN_API setString(AttrID id, const Vst::TChar* string) override;
    /// Copies what `setBinary` stored, as twice as many bytes as that has, or as `sizeInBytes`, the smaller
    /// number; what is beyond the data is zero.
    tresult PLUGIN_API getString(AttrID id, Vst::TChar* string, Steinberg::uint32 sizeInBytes) override;
    tresult PLUGIN_API setBinary(AttrID id, const void* data, Steinberg::uint32 sizeInBytes) override;
    /// `data` is the list's own copy, valid as long as the value is stored.
    tresult PLUGIN_API getBinary(AttrID id, const void*& data, Steinberg::uint32& sizeInBytes) override;

    /// The host of the plug-in that made it; may be null.
    Vst3Host* getHost() const { return host; }

private:
    enum class Kind : uint32_t { integer = 0, floatingPoint = 1, binary = 3 };

    struct Attribute {
        union {
            Steinberg::int64 integer;
            double floatingPoint;
            /// From `malloc`, twice `size` bytes, owned; null without a size.
            void* data;
        } value;
        uint32_t size; // bytes of binary data, else 0
        Kind kind;
    };

    struct TextOrder {
        bool operator()(const String& a, const String& b) const { return String::compare(a, b) < 0; }
    };

    /// The attributes by their ids.
    class Values : public NonCopyable {
    public:
        ~Values();

        void store(const String& key, const Attribute& attribute);
        void remove(const String& key);
        const Attribute* find(AttrID id) const;

    private:
        std::map<String, Attribute, TextOrder> attributes;
    };

    void store(AttrID id, const Attribute& attribute);

    std::atomic<uint32_t> refCount = 1;
    base::core::Guarded<Values> values;
    Vst3Host* host;
};

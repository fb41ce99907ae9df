/// A cursor over reply text that takes one piece after another and remembers the first mismatch.
#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace zulctl {

/// After a failure all takes give 0 or nothing, so that a parser tests Ok() once, at its end.
class TextWalk {
 public:
    explicit TextWalk(std::string_view text) : mRest(text) {}

    bool Ok() const { return mOk; }
    std::string_view Rest() const { return mRest; }
    bool AtEnd() const { return mOk && mRest.empty(); }

    /// Takes a fixed text.
    bool Take(std::string_view text) {
        if (!LooksAt(text)) mOk = false;
        if (mOk) mRest.remove_prefix(text.size());
        return mOk;
    }
    /// Takes a fixed text before another piece.
    TextWalk& After(std::string_view text) {
        Take(text);
        return *this;
    }
    bool LooksAt(std::string_view text) const { return mOk && mRest.starts_with(text); }
    /// Takes a fixed text where it comes next. \return whether it did
    bool Skip(std::string_view text) { return LooksAt(text) && Take(text); }

    /// Takes digits, at least one and at most `longest`; a sign isn't one.
    std::uint32_t Number(int base = 10, std::size_t longest = 10) {
        std::uint32_t value = 0;
        const std::string_view digits = mRest.substr(0, longest);
        const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        if (error != std::errc{}) mOk = false;
        if (!mOk) return 0;
        mRest.remove_prefix(static_cast<std::size_t>(stop - mRest.data()));
        return value;
    }
    /// Takes a number up to `most`; a larger one is a failure.
    int Small(int most, int base = 10) {
        const std::uint32_t value = Number(base);
        if (value > static_cast<std::uint32_t>(most)) mOk = false;
        return mOk ? static_cast<int>(value) : 0;
    }
    /// Takes a hexadecimal number of 16 bits.
    std::uint16_t Hex16() { return static_cast<std::uint16_t>(Small(0xFFFF, 16)); }
    /// Takes a text and what precedes it.
    std::string Until(std::string_view end) {
        std::string front = Exactly(mRest.find(end));  // npos is more than there is
        Take(end);
        return front;
    }
    /// Takes exactly `count` bytes.
    std::string Exactly(std::size_t count) {
        if (mRest.size() < count) mOk = false;
        if (!mOk) return {};
        std::string front(mRest.substr(0, count));
        mRest.remove_prefix(count);
        return front;
    }

 private:
    std::string_view mRest;
    bool mOk = true;
};

}  // namespace zulctl

// Access to the parts of a text: fields between delimiters, segments behind one, fields between
// tags.
//
// Each operation first finds the bounds of what it is about, by one finder a kind of part; getting
// a copy, a view or replacing it is then the same for all.
#pragma once

#include "util/base/visibility.h"
#include "util/text/replace/string_replace.h"

#include <utility>
#include <vector>

namespace QUIL_PUBLIC Quil {

/// The layer of fields. Indices count from 0; a negative one means the whole text. A text with k
/// delimiters has k + 1 fields: adjacent delimiters enclose an empty one, and an empty text has
/// one. An empty delimiter is never there.
///
/// A tagged field reaches from a `begin` to the next `end`. The next one is looked for right behind
/// that `begin`, so nested and overlapping pairs are seen. With an empty tag, or both tags equal,
/// there is none.
///
/// The `_static` forms answer views on this string. Text and bytes have all forms, but `_no_case`,
/// which compares `to_lower` of both sides, is for text alone.
template <class Self, class T>
class string_field : public string_replace<Self, T> {
    using Replaces = string_replace<Self, T>;
    static constexpr bool sm_isText = !std::is_same_v<T, unsigned char>;

public:
    using field_list = std::vector<std::pair<unsigned int, unsigned int>>;

    using Replaces::npos;
    using Replaces::Replaces;
    constexpr string_field() noexcept = default;

    // --- Fields between delimiters ---------------------------------------------------------------

    /// One more than there are delimiters.
    unsigned int get_field_count(text_ref<T> delimiter) const {
        return __FieldCount(delimiter, false);
    }
    unsigned int get_field_count_no_case(text_ref<T> delimiter) const requires sm_isText {
        return __FieldCount(delimiter, true);
    }
    /// The bounds of a field; both `npos` and false when the text has no delimiter at all and
    /// `index` is above 0. An index behind the last field gives the last one, other than in
    /// `get_field`.
    bool get_field_pos(text_ref<T> delimiter, long index, unsigned int& start,
                       unsigned int& length) const {
        return __FieldPos(delimiter, index, start, length, false);
    }
    bool get_field_pos_no_case(text_ref<T> delimiter, long index, unsigned int& start,
                               unsigned int& length) const requires sm_isText {
        return __FieldPos(delimiter, index, start, length, true);
    }
    /// The (start, length) of each field; true if there are two or more.
    bool get_all_fields(field_list& out, text_ref<T> delimiter) const {
        return __AllFields(out, delimiter, false);
    }
    bool get_all_fields_no_case(field_list& out, text_ref<T> delimiter) const requires sm_isText {
        return __AllFields(out, delimiter, true);
    }
    /// The number of the field that `pos` lies in, and the place in it. False, and `npos` in both,
    /// on a delimiter or behind the text. A delimiter that the text begins with isn't counted.
    bool pos_to_field(unsigned int pos, text_ref<T> delimiter, unsigned int& field,
                      unsigned int& offset) const {
        return __PosToField(pos, delimiter, field, offset, false);
    }
    bool pos_to_field_no_case(unsigned int pos, text_ref<T> delimiter, unsigned int& field,
                              unsigned int& offset) const requires sm_isText {
        return __PosToField(pos, delimiter, field, offset, true);
    }

    /// A field: as a string, into `out`, or as a view. Empty when there is no such field.
    Self get_field(text_ref<T> delimiter, long index) const {
        return __Copy(__Field(delimiter, index, false));
    }
    Self get_field_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __Copy(__Field(delimiter, index, true));
    }
    Self& get_field(Self& out, text_ref<T> delimiter, long index) const {
        return out.assign(__View(__Field(delimiter, index, false)).detach_if_static());
    }
    Self& get_field_no_case(Self& out, text_ref<T> delimiter, long index) const requires sm_isText {
        return out.assign(__View(__Field(delimiter, index, true)).detach_if_static());
    }
    Self get_field_static(text_ref<T> delimiter, long index) const {
        return __View(__Field(delimiter, index, false));
    }
    Self get_field_static_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __View(__Field(delimiter, index, true));
    }
    /// A field counted from the end, 0 being the last.
    Self get_rfield(text_ref<T> delimiter, long index) const {
        return __Copy(__RField(delimiter, index, false));
    }
    Self get_rfield_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __Copy(__RField(delimiter, index, true));
    }
    Self& get_rfield(Self& out, text_ref<T> delimiter, long index) const {
        return out.assign(__View(__RField(delimiter, index, false)).detach_if_static());
    }
    Self& get_rfield_no_case(Self& out, text_ref<T> delimiter,
                             long index) const requires sm_isText {
        return out.assign(__View(__RField(delimiter, index, true)).detach_if_static());
    }
    Self get_rfield_static(text_ref<T> delimiter, long index) const {
        return __View(__RField(delimiter, index, false));
    }
    Self get_rfield_static_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __View(__RField(delimiter, index, true));
    }
    /// What stands behind the `index`-th delimiter, counted from 1. 0 is the whole text.
    Self get_segment(text_ref<T> delimiter, long index) const {
        return __Copy(__Segment(delimiter, index, false));
    }
    Self get_segment_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __Copy(__Segment(delimiter, index, true));
    }
    Self& get_segment(Self& out, text_ref<T> delimiter, long index) const {
        return out.assign(__View(__Segment(delimiter, index, false)).detach_if_static());
    }
    Self& get_segment_no_case(Self& out, text_ref<T> delimiter,
                              long index) const requires sm_isText {
        return out.assign(__View(__Segment(delimiter, index, true)).detach_if_static());
    }
    Self get_segment_static(text_ref<T> delimiter, long index) const {
        return __View(__Segment(delimiter, index, false));
    }
    Self get_segment_static_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __View(__Segment(delimiter, index, true));
    }
    /// What stands behind a delimiter counted from the end, 0 being the last; without any delimiter
    /// 0 is the whole text.
    Self get_rsegment(text_ref<T> delimiter, long index) const {
        return __Copy(__RSegment(delimiter, index, false));
    }
    Self get_rsegment_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __Copy(__RSegment(delimiter, index, true));
    }
    Self& get_rsegment(Self& out, text_ref<T> delimiter, long index) const {
        return out.assign(__View(__RSegment(delimiter, index, false)).detach_if_static());
    }
    Self& get_rsegment_no_case(Self& out, text_ref<T> delimiter,
                               long index) const requires sm_isText {
        return out.assign(__View(__RSegment(delimiter, index, true)).detach_if_static());
    }
    Self get_rsegment_static(text_ref<T> delimiter, long index) const {
        return __View(__RSegment(delimiter, index, false));
    }
    Self get_rsegment_static_no_case(text_ref<T> delimiter, long index) const requires sm_isText {
        return __View(__RSegment(delimiter, index, true));
    }

    /// Replace what the operation of the same name gets; nothing changes when that isn't there.
    Self& replace_field(text_ref<T> delimiter, long index, text_ref<T> rep) {
        return __Replace(__Field(delimiter, index, false), rep);
    }
    Self& replace_field_no_case(text_ref<T> delimiter, long index,
                                text_ref<T> rep) requires sm_isText {
        return __Replace(__Field(delimiter, index, true), rep);
    }
    Self& replace_rfield(text_ref<T> delimiter, long index, text_ref<T> rep) {
        return __Replace(__RField(delimiter, index, false), rep);
    }
    Self& replace_rfield_no_case(text_ref<T> delimiter, long index,
                                 text_ref<T> rep) requires sm_isText {
        return __Replace(__RField(delimiter, index, true), rep);
    }
    Self& replace_segment(text_ref<T> delimiter, long index, text_ref<T> rep) {
        return __Replace(__Segment(delimiter, index, false), rep);
    }
    Self& replace_segment_no_case(text_ref<T> delimiter, long index,
                                  text_ref<T> rep) requires sm_isText {
        return __Replace(__Segment(delimiter, index, true), rep);
    }
    Self& replace_rsegment(text_ref<T> delimiter, long index, text_ref<T> rep) {
        return __Replace(__RSegment(delimiter, index, false), rep);
    }
    Self& replace_rsegment_no_case(text_ref<T> delimiter, long index,
                                   text_ref<T> rep) requires sm_isText {
        return __Replace(__RSegment(delimiter, index, true), rep);
    }

    // --- Fields between tags ---------------------------------------------------------------------

    unsigned int get_delimited_field_count(text_ref<T> begin, text_ref<T> end) const {
        return __DelimitedCount(begin, end, false);
    }
    unsigned int get_delimited_field_count_no_case(text_ref<T> begin,
                                                   text_ref<T> end) const requires sm_isText {
        return __DelimitedCount(begin, end, true);
    }
    /// The bounds of a tagged field without its tags; `npos` in both and false if it isn't there.
    bool get_delimited_field_pos(text_ref<T> begin, text_ref<T> end, long index,
                                 unsigned int& start, unsigned int& length) const {
        return __DelimitedPos(begin, end, index, start, length, false);
    }
    bool get_delimited_field_pos_no_case(text_ref<T> begin, text_ref<T> end, long index,
                                         unsigned int& start,
                                         unsigned int& length) const requires sm_isText {
        return __DelimitedPos(begin, end, index, start, length, true);
    }
    /// The (start, length) of each tagged field; true if there is any.
    bool get_all_delimited_fields(field_list& out, text_ref<T> begin, text_ref<T> end) const {
        return __AllDelimited(out, begin, end, false);
    }
    bool get_all_delimited_fields_no_case(field_list& out, text_ref<T> begin,
                                          text_ref<T> end) const requires sm_isText {
        return __AllDelimited(out, begin, end, true);
    }

    /// A tagged field; empty when it isn't there.
    Self get_delimited_field(text_ref<T> begin, text_ref<T> end, long index) const {
        return __Copy(__Delimited(begin, end, index, false));
    }
    Self get_delimited_field_no_case(text_ref<T> begin, text_ref<T> end,
                                     long index) const requires sm_isText {
        return __Copy(__Delimited(begin, end, index, true));
    }
    Self& get_delimited_field(Self& out, text_ref<T> begin, text_ref<T> end, long index) const {
        return out.assign(__View(__Delimited(begin, end, index, false)).detach_if_static());
    }
    Self& get_delimited_field_no_case(Self& out, text_ref<T> begin, text_ref<T> end,
                                      long index) const requires sm_isText {
        return out.assign(__View(__Delimited(begin, end, index, true)).detach_if_static());
    }
    Self get_delimited_field_static(text_ref<T> begin, text_ref<T> end, long index) const {
        return __View(__Delimited(begin, end, index, false));
    }
    Self get_delimited_field_static_no_case(text_ref<T> begin, text_ref<T> end,
                                            long index) const requires sm_isText {
        return __View(__Delimited(begin, end, index, true));
    }
    /// A tagged field counted from the end, 0 being the last.
    Self get_rdelimited_field(text_ref<T> begin, text_ref<T> end, long index) const {
        return __Copy(__RDelimited(begin, end, index, false));
    }
    Self get_rdelimited_field_no_case(text_ref<T> begin, text_ref<T> end,
                                      long index) const requires sm_isText {
        return __Copy(__RDelimited(begin, end, index, true));
    }
    Self& get_rdelimited_field(Self& out, text_ref<T> begin, text_ref<T> end, long index) const {
        return out.assign(__View(__RDelimited(begin, end, index, false)).detach_if_static());
    }
    Self& get_rdelimited_field_no_case(Self& out, text_ref<T> begin, text_ref<T> end,
                                       long index) const requires sm_isText {
        return out.assign(__View(__RDelimited(begin, end, index, true)).detach_if_static());
    }
    Self get_rdelimited_field_static(text_ref<T> begin, text_ref<T> end, long index) const {
        return __View(__RDelimited(begin, end, index, false));
    }
    Self get_rdelimited_field_static_no_case(text_ref<T> begin, text_ref<T> end,
                                             long index) const requires sm_isText {
        return __View(__RDelimited(begin, end, index, true));
    }

    /// Replace the text between the tags; these stay.
    Self& replace_delimited_field(text_ref<T> begin, text_ref<T> end, long index, text_ref<T> rep) {
        return __Replace(__Delimited(begin, end, index, false), rep);
    }
    Self& replace_delimited_field_no_case(text_ref<T> begin, text_ref<T> end, long index,
                                          text_ref<T> rep) requires sm_isText {
        return __Replace(__Delimited(begin, end, index, true), rep);
    }
    Self& replace_rdelimited_field(text_ref<T> begin, text_ref<T> end, long index,
                                   text_ref<T> rep) {
        return __Replace(__RDelimited(begin, end, index, false), rep);
    }
    Self& replace_rdelimited_field_no_case(text_ref<T> begin, text_ref<T> end, long index,
                                           text_ref<T> rep) requires sm_isText {
        return __Replace(__RDelimited(begin, end, index, true), rep);
    }

private:
    /// Bounds; `start` is npos where there is no such part.
    struct PART {
        unsigned int start = npos;
        unsigned int length = npos;

        bool is_there() const noexcept { return start != npos; }
    };

    PART __Whole(text_ref<T> delimiter) const noexcept;
    PART __From(unsigned int start) const noexcept;
    unsigned int __Find(text_ref<T> what, unsigned int pos, bool noCase) const;
    unsigned int __RFindBefore(text_ref<T> what, unsigned int end, bool noCase) const;
    bool __IsTagPair(text_ref<T> begin, text_ref<T> end, bool noCase) const;

    PART __Field(text_ref<T> delimiter, long index, bool noCase) const;
    PART __RField(text_ref<T> delimiter, long index, bool noCase) const;
    PART __Segment(text_ref<T> delimiter, long index, bool noCase) const;
    PART __RSegment(text_ref<T> delimiter, long index, bool noCase) const;
    PART __Delimited(text_ref<T> begin, text_ref<T> end, long index, bool noCase) const;
    PART __RDelimited(text_ref<T> begin, text_ref<T> end, long index, bool noCase) const;

    unsigned int __FieldCount(text_ref<T> delimiter, bool noCase) const;
    bool __FieldPos(text_ref<T> delimiter, long index, unsigned int& start, unsigned int& length,
                    bool noCase) const;
    bool __AllFields(field_list& out, text_ref<T> delimiter, bool noCase) const;
    bool __PosToField(unsigned int pos, text_ref<T> delimiter, unsigned int& field,
                      unsigned int& offset, bool noCase) const;
    unsigned int __DelimitedCount(text_ref<T> begin, text_ref<T> end, bool noCase) const;
    bool __DelimitedPos(text_ref<T> begin, text_ref<T> end, long index, unsigned int& start,
                        unsigned int& length, bool noCase) const;
    bool __AllDelimited(field_list& out, text_ref<T> begin, text_ref<T> end, bool noCase) const;

    Self __View(PART part) const noexcept {
        return part.is_there() ? this->substr_static(part.start, part.length) : Self();
    }
    Self __Copy(PART part) const {
        return part.is_there() ? this->substr(part.start, part.length) : Self();
    }
    Self& __Replace(PART part, text_ref<T> rep);
};

} // namespace Quil

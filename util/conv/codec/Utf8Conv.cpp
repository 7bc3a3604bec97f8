#include "util/conv/codec/Utf8Conv.h"

#include "util/conv/backend/iconv_way.h"
#include "util/conv/codec/CharsetCodecs.h"
#include "util/sys/advSync.h"

namespace Quil::IMPL {

namespace {

constexpr char NAME[] = "UTF-8";

/// In place of a library's function, which is never asked to convert.
std::size_t NoLibrary(void*, char**, std::size_t*, char**, std::size_t*) {
    return ICONV_FAILURE;
}

/// Converts a text by its codec alone. False, with nothing in `dst`, for one that isn't valid.
template <class Source, class Target, class From, class To>
bool ConvertValid(const ICodec<Source, Target>* codec, To& dst, const From& src) {
    CConvOutput<To> output(dst);
    CIconvStepper<Source, CConvOutput<To>> stepper(NoLibrary, nullptr, src.data(), src.length(),
                                                   output);
    RunCodec<Target>({NoLibrary, nullptr, codec, {}, false}, stepper, output);
    if (stepper.IsAtEnd()) {
        output.Finish();
    }
    return stepper.IsAtEnd();
}

} // namespace

const TTextConv& CUtf8Conv::__GetLibrary() const {
    CFastSessionLock lock(__mutex);
    if (__library == nullptr) {
        __library.reset(__make());
    }
    return *__library;
}

wstringEx CUtf8Conv::MBtoWC(const stringEx& src) const {
    wstringEx dst;
    MBtoWC(dst, src);
    return dst;
}

void CUtf8Conv::MBtoWC(wstringEx& dst, const stringEx& src) const {
    CCharsetCodecs codecs(stringEx(NAME), NoLibrary, nullptr, nullptr, false);
    if (!ConvertValid(codecs.DecoderFor(src.length()), dst, src)) {
        __GetLibrary().MBtoWC(dst, src);
    }
}

stringEx CUtf8Conv::WCtoMB(const wstringEx& src) const {
    stringEx dst;
    WCtoMB(dst, src);
    return dst;
}

void CUtf8Conv::WCtoMB(stringEx& dst, const wstringEx& src) const {
    CCharsetCodecs codecs(stringEx(NAME), NoLibrary, nullptr, nullptr, false);
    if (!ConvertValid(codecs.EncoderFor(src.length()), dst, src)) {
        __GetLibrary().WCtoMB(dst, src);
    }
}

} // namespace Quil::IMPL

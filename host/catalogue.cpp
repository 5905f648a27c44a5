// Texts of the errors, by identifier, for the library and the host; "{0}" takes the first argument.
#include <map>

#include "host/embed.hpp"
#include "host/errors.hpp"

namespace vlhost::detail {

namespace {

const std::map<std::string, std::string>& catalogue() {
    static const std::map<std::string, std::string> texts = {
        // The host's own.
        {"VELTRA:maxlhs", "Too many output arguments."},
        {"VELTRA:maxrhs", "Too many input arguments."},
        {"VELTRA:minrhs", "Not enough input arguments."},
        {"VELTRA:nomem", "Out of memory."},
        {"VELTRA:interrupted", "The call was interrupted."},
        {"VELTRA:invalidClass", "Invalid array class: {0}."},
        {"VELTRA:invalidConversion", "Cannot convert {0}."},
        {"VELTRA:invalidIndex", "Index values must be finite, non-negative and not too large."},
        {"VELTRA:invalidDimension", "Dimension argument must be a positive integer scalar within indexing range."},
        {"VELTRA:innerdim", "Inner matrix dimensions must agree."},
        {"VELTRA:permuteOrder", "The permutation order must contain each dimension index exactly once: {0}."},
        {"VELTRA:undefinedFunction", "Undefined function: {0}."},
        {"VELTRA:registrationFailed", "Registration of {0} failed."},
        {"VELTRA:internal", "Internal error: {0}"},
        {"VELTRA:sizeLimit", "The requested array exceeds the maximum array size: {0}."},
        {"VELTRA:dimensionLimit", "The requested array has more dimensions than this host holds: {0}."},
        {"VELTRA:isaUnavailable", "No copy of the library for the instruction set {0} is here, or this processor does not run it."},
        {"VELTRA:threadCount", "The number of computational threads must be a whole number from 1 to {0}."},
        {"VELTRA:outputCount", "The number of outputs must be a whole number from 0 to {0}."},
        {"VELTRA:noSuchSlot", "The library has no built-in in slot {0}."},
        // conv2, convnc, stridedConvn.
        {"VELTRA:conv2:SparseInput", "conv2 does not accept sparse inputs."},
        {"VELTRA:conv2:firstTwoInputsNotVectors", "The first two inputs of the separable form must be vectors."},
        {"VELTRA:conv2:inputType", "Inputs must be numeric or logical."},
        {"VELTRA:conv2:inputTypeSeparable", "Inputs of the separable form must be numeric or logical."},
        {"VELTRA:conv2:ndArrayInput", "Inputs must be two-dimensional arrays."},
        {"VELTRA:conv2:unknownShapeParameter", "Shape must be 'full', 'same' or 'valid'."},
        {"VELTRA:convPart:InvalidArgument", "convPart: {0}."},
        {"VELTRA:convnc:SparseInput", "convn does not accept sparse inputs."},
        {"VELTRA:convnc:UnsupportedDataType", "The shape must be 'same', 'full' or 'valid'."},
        {"VELTRA:convnc:inputType", "Inputs must be single or double."},
        {"VELTRA:stridedConvn:InputClass", "Inputs must be single or double arrays."},
        {"VELTRA:stridedConvn:InvalidOptionString", "The option must be 'conv' or 'corr'."},
        {"VELTRA:stridedConvn:InvalidRangeIndex", "Start and end indices must be positive integers within the result."},
        {"VELTRA:stridedConvn:InvalidStride", "Strides must be positive integers."},
        {"VELTRA:stridedConvn:RangeIndexClass", "Start and end indices must be numeric."},
        {"VELTRA:stridedConvn:SparseInput", "Sparse inputs are not supported."},
        {"VELTRA:stridedConvn:StrideClass", "Strides must be numeric."},
        {"VELTRA:string:MissingNotSupported", "A missing string is not a valid option."},
        {"VELTRA:string:MustBeStringScalarOrCharacterVector", "The option must be a string scalar or a character vector."},
        // Cosine and sine transforms.
        {"VELTRA:dcstfcn:DCSTLengthNotNonNegInt", "The transform length must be a non-negative integer scalar."},
        {"VELTRA:dcstfcn:DCSToutputSizeLessThanNdimsElements", "The size vector must have at least as many elements as the input has dimensions."},
        {"VELTRA:dcstfcn:DCSToutputSizeNotRealIntRowVector", "The size should be a real row vector of integers."},
        {"VELTRA:dcstfcn:DCSToutputSizeVectorNotNonNegInts", "The size vector should hold non-negative integers."},
        {"VELTRA:dcstfcn:DCT1Length1", "The type I cosine transform needs a length of at least 2."},
        {"VELTRA:dcstfcn:DCT1NDLength1", "The type I cosine transform needs every transformed length to be at least 2."},
        {"VELTRA:dcstfcn:InvalidInputType", "The input must be single or double, real or complex."},
        {"VELTRA:dcstfcn:InvalidVariantString", "The option name must be 'Variant'."},
        {"VELTRA:dcstfcn:InvalidVariantValue", "The transform type must be 1, 2, 3 or 4."},
        {"VELTRA:dcstfcn:SparseInputType", "Sparse inputs are not supported."},
        // Fourier transforms.
        {"VELTRA:fftfcn:FFTWAssertionFailure", "The transform library failed an internal check."},
        {"VELTRA:fftfcn:FirstInputInvalidString", "Unknown fftw command."},
        {"VELTRA:fftfcn:FirstInputNotString", "The first input must be a command text."},
        {"VELTRA:fftfcn:InvalidFourthArgument", "The fourth input must be 'symmetric' or 'nonsymmetric'."},
        {"VELTRA:fftfcn:InvalidInputType", "The input must be double, single, logical or an integer of at most 32 bits."},
        {"VELTRA:fftfcn:InvalidThirdArgument", "The third input must be 'symmetric' or 'nonsymmetric'."},
        {"VELTRA:fftfcn:InvalidTrailingStringArgument", "The last input must be 'symmetric' or 'nonsymmetric'."},
        {"VELTRA:fftfcn:SparseInputType", "Sparse inputs are not supported."},
        {"VELTRA:fftfcn:WisdomImportFailed", "The wisdom could not be imported."},
        {"VELTRA:fftfcn:invalidPlannerArg", "The planner must be 'estimate', 'measure', 'patient', 'exhaustive' or 'hybrid'."},
        {"VELTRA:fftfcn:invalidRowsArg", "The rows value must be a positive finite real double."},
        {"VELTRA:fftfcn:invalidWisdomArg", "Wisdom must be given as a character vector, or [] to clear it."},
        {"VELTRA:fftfcn:lengthNotNonNegInt", "The transform length must be a non-negative integer scalar."},
        {"VELTRA:fftfcn:needRowsArg", "The rows command needs a value."},
        {"VELTRA:fftfcn:outputSizeLessThanNdimsElements", "The size vector must have at least as many elements as the input has dimensions."},
        {"VELTRA:fftfcn:outputSizeNotRealIntRowVector", "The size should be a real row vector of integers."},
        {"VELTRA:fftfcn:outputSizeVectorNotNonNegInts", "The size vector should hold non-negative integers."},
        // filter.
        {"VELTRA:filter:firstElementOfDenominatorFilterNotFinite", "The first coefficient of the denominator must be finite."},
        {"VELTRA:filter:firstElementOfDenominatorFilterZero", "The first coefficient of the denominator must not be zero."},
        {"VELTRA:filter:inputType", "Inputs must be single, double or logical."},
        {"VELTRA:filter:invalidInitialConditions", "The initial conditions do not fit the filter and the data."},
        {"VELTRA:filter:notVectorInput", "The coefficients must be vectors."},
        {"VELTRA:filter:sparseInput", "Sparse inputs are not supported."},
        // ltitr and the two-part messages.
        {"VELTRA:ltitr:invalidInitialCondition", "The initial state must have one element per state."},
        {"VELTRA:legacy_two_part:dimagree", "Matrix dimensions must agree."},
        {"VELTRA:legacy_two_part:square", "The matrix must be square."},
        {"VELTRA:legacy_two_part:badsubscript", "{0}"},
    };
    return texts;
}

std::string argumentText(const resource_core::MessageArgument& a) {
    if (const auto* s = std::get_if<std::string>(&a)) return *s;
    if (const auto* w = std::get_if<std::u16string>(&a)) return fl::i18n::converter<char, char16_t>::convert(w->data(), w->size());
    return std::string();
}

}  // namespace

std::string catalogueText(const resource_core::BaseMsgID& id) {
    const std::string identifier = id.component + ":" + id.key;
    auto it = catalogue().find(identifier);
    std::string text = it == catalogue().end() ? "Error " + identifier + "." : it->second;
    const size_t at = text.find("{0}");
    if (at != std::string::npos)
        text.replace(at, 3, id.arguments.empty() ? std::string() : argumentText(id.arguments[0]));
    return text;
}

bool catalogueHas(const std::string& identifier) { return catalogue().count(identifier) != 0; }

}  // namespace vlhost::detail

namespace vlhost {

std::string catalogueText(const std::string& component, const std::string& key, const std::vector<std::string>& arguments) {
    resource_core::BaseMsgID id{{}, component, key};
    for (const auto& a : arguments) id.arguments.emplace_back(a);
    return detail::catalogueText(id);
}

bool catalogueHas(const std::string& identifier) { return detail::catalogueHas(identifier); }

std::vector<std::pair<std::string, std::string>> catalogueEntries() {
    return {detail::catalogue().begin(), detail::catalogue().end()};
}

}  // namespace vlhost

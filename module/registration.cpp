// Registration of the package functions below the global package "veltra".
#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

struct PackageFunction {
    const char* name;
    vxBuiltin worker;
};

void addFunctions(vcos::COSPackage* package, const PackageFunction* first, const PackageFunction* last) {
    for (; first != last; ++first) {
        vcos::COSNameID name(first->name);
        package->addFunction(name, first->worker);
    }
}

}  // namespace

void registerPackageFunctions() {
    vcos::COSPackage* internal = vcos::omGetSubPackage(vcos::omGetGlobalPackage("veltra"), "internal");
    vcos::COSPackage* versionPlugins =
        vcos::omGetSubPackage(vcos::omGetSubPackage(internal, "language"), "versionPlugins");
    vcos::COSPackage* math = vcos::omGetSubPackage(internal, "math");
    vcos::COSPackage* transform = vcos::omGetSubPackage(math, "transform");

    static const PackageFunction version[] = {{"fftwVersionInfo", fftwVersionInfoEntry}};
    static const PackageFunction transforms[] = {
        {"vldct", dctEntry},   {"vlidct", idctEntry},   {"vldst", dstEntry},   {"vlidst", idstEntry},
        {"vldctn", dctnEntry}, {"vlidctn", idctnEntry}, {"vldstn", dstnEntry}, {"vlidstn", idstnEntry},
    };
    static const PackageFunction strided[] = {{"stridedConvn", stridedConvnEntry}, {"convPart", convPartEntry}};

    addFunctions(versionPlugins, std::begin(version), std::end(version));
    addFunctions(transform, std::begin(transforms), std::end(transforms));
    addFunctions(math, std::begin(strided), std::end(strided));
}

}  // namespace vlmathdsp

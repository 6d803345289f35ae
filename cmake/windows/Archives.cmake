# The sources that scripts/setup --all fetches for Windows, as a machine without Debian's tools can name
# them: folder below KEL_DEPENDENCIES_FOLDER, archive below a Debian mirror's pool, its SHA-256. The
# mirror keeps an archive as long as a Debian release has it.
set(KEL_WINDOWS_ARCHIVES
    windows/benchmark pool/main/b/benchmark/benchmark_1.7.1.orig.tar.gz
        6430e4092653380d9dc4ccb45a1e2dc9259d581f4866dc0759713126056bc1d7
    windows/boost pool/main/b/boost1.81/boost1.81_1.81.0.orig.tar.xz
        449afecf5ef98edc0a46826cde6af98d1fb95c2e92962fa8c9e3eb1e8a2928ec
    windows/cli11 pool/main/c/cli11/cli11_2.1.2+ds.orig.tar.xz
        8143d20b688e98ccce8e24562d3b68e5f47c12e896c42c7ca8553dbde5bed55d
    cpp-httplib pool/main/c/cpp-httplib/cpp-httplib_0.41.0+ds.orig.tar.xz
        7acb492bffdd95165677d22145c2c4890e6432c5ef53d0f781defe8dec48f567
    windows/expat pool/main/e/expat/expat_2.5.0.orig.tar.gz
        ab00ee05c7067fd10a35c5d2a4922ebba746ddd50ff83b79c828da17bbdf1757
    windows/fmtlib pool/main/f/fmtlib/fmtlib_9.1.0+ds1.orig.tar.gz
        84ce1c2d0be3a9863935137969dcec6970125caac032f82474640bfc81463583
    windows/googletest pool/main/g/googletest/googletest_1.12.1.orig.tar.gz
        81964fe578e9bd7c94dfdb09c8e4d6e6759e19967e397dbea48d1c10e45d0df2
    windows/libzip pool/main/libz/libzip/libzip_1.7.3.orig.tar.xz
        a60473ffdb7b4260c08bfa19c2ccea0438edac11193c3afbbb1f17fbcf6c6132
    windows/picojson pool/main/p/picojson/picojson_1.3.0+git20210118.111c9be.orig.tar.xz
        8c76c9f09e3e2e19200ab4d79b45991721a3a2745b645551de2c2905270fb084
    windows/pugixml pool/main/p/pugixml/pugixml_1.13.orig.tar.gz
        5c5ad5d7caeb791420408042a7d88c2c6180781bf218feca259fd9d840a888e1
    windows/spdlog pool/main/s/spdlog/spdlog_1.10.0+ds.orig.tar.xz
        620ca6842b5c21014470bd42eb4716024674214fb973b5ffa3aaea33310ad327
    windows/utfcpp pool/main/u/utfcpp/utfcpp_3.2.3.orig.tar.gz
        3ba9b0dbbff08767bdffe8f03b10e596ca351228862722e4c9d4d126d2865250
    windows/zlib pool/main/z/zlib/zlib_1.2.13.dfsg.orig.tar.bz2
        71feb7947e3c00ef125f83b79a4e529bde31171e5babe48b391f06758d1ab0a1)

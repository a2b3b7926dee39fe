// Tests of tyksim show.
#include "tests/tool/ToolRun.h"

namespace tooltest {

namespace {

/// The image of frame 3 ends within a pair of chroma samples.
const char* const kCutImage = R"sh(
rm $F3/FCWH*; I=$F3/FCWH_3_0_64_48_nv21.yuv
{ head -c 3072 /dev/zero | tr '\0' '\005'; printf '\001\011\002\010\003'; } >$I
)sh";

Rows images() {
    return after(kCutImage,
                 {
                     {"GoldenLayout",
                      "tyksim show $F3; tyksim show $F2 --tag KELV_TAG_STREAM_QUALITY",
                      {"\nparameter                                    id  camera  pipe type      "
                       "kind     size  value\n",
                       "\nKELV_TAG_STREAM_SIZE                       8208       0  SNAPSHOT_TYPE  "
                       "fixed       8\n"
                       "  width                                                                  "
                       "              64 pixels\n",
                       "\nscene record                               value\n",
                       "\nthreeA_info/ae_info/total_gain              2048\n",
                       "\nimage 64x48, 3.08 kB, expected 4608 bytes, found 3077\n"
                       "  y  mean   5.00  range   5 to   5\n"
                       "  u  mean   8.50  range   8 to   9, 2 of 768 samples\n"
                       "  v  mean   2.00  range   1 to   3, 3 of 768 samples\n",
                       "\nFCPDT_2_0_1_0_KELV_TAG_STREAM_QUALITY.bin:\n"
                       "    000000  5b                                               [\n"}},
                     {"PlanesOfAnImageThatBreaksOff",
                      "tyksim show $F3 --json",
                      {R"("bytes":3077,"expected_bytes":4608,)",
                       R"("y":{"mean":5.0,"min":5,"max":5,"samples":3072},)"
                       R"("u":{"mean":8.5,"min":8,"max":9,"samples":2},)"
                       R"("v":{"mean":2.0,"min":1,"max":3,"samples":3})"}},
                     {"NoSceneNoImageAndOtherIds",
                      R"sh(rm $F3/FCWH* $F3/*ISCENE* $F3/iScene*
                  mv $F3/*GAINS* $F3/FCPDT_3_2_99_1_KELV_TAG_WB_GAINS.bin
                  tyksim show $F3 | tr -s ' ')sh",
                      {"no scene record\nno image\n", "KELV_TAG_WB_GAINS 4100 2 99 block 16\n"}},
                     {"ImageEmpty",
                      ": >$I; tyksim show $F3 | tail -1; tyksim show $F3 --json",
                      {"no samples\n", R"("y":null,"u":null,"v":null})"}},
                     {"ImageOfAnOddSize",
                      R"sh(cd $F3; rm FCWH*; printf 123456789VUvuabcd- >FCWH_3_0_3_3_nv21.yuv
                  tyksim show . --json)sh",
                      {R"("y":{"mean":53.0,"min":49,"max":57,"samples":9},)"
                       R"("u":{"mean":100.0,"min":85,"max":117,"samples":4},)"
                       R"("v":{"mean":100.0,"min":86,"max":118,"samples":4})"}},
                     {"ImageIsAFolder",
                      "cd $F3; rm FCWH*; mkdir FCWH_3_0_9_9_nv21.yuv; fails 3 tyksim show .",
                      {"FCWH_3_0_9_9_nv21.yuv: it is not a regular file\n"}},
                     {"ImageNameWithoutAFormat",
                      "cd $F3; rm FCWH*; echo >FCWH_3_0_0_9_.yuv; fails 3 tyksim show .",
                      {"this one 0x9\n"}},
                 });
}

/// The scene record from its XML file, from the parameter file, or missing.
Rows scenes() {
    return {
        {"SceneFromItsText",
         R"sh(printf '\007' | dd of=$F2/FCPDT_2_0_1_0_KELV_TAG_ISCENE_INFO.bin bs=1 seek=7132 \
                  conv=notrunc
              tyksim show $F2 | grep 'scene r'; tyksim show $F2 --json)sh",
         {"scene record ", "!parameter file", R"("threeA_info/ae_info/total_gain":1536,)"}},
        {"SceneFromTheParameterFile",
         R"sh(printf '\007' | dd of=$F2/FCPDT_2_0_1_0_KELV_TAG_ISCENE_INFO.bin bs=1 seek=7132 \
                  conv=notrunc
              rm $F2/iScene*
              tyksim show $F2 | grep 'scene r'; tyksim show $F2 --json
              tyksim track r total_gain --csv --frames 2)sh",
         {"scene record (parameter file) ", R"("threeA_info/ae_info/total_gain":1543,)",
          "\n1,1,2,2,2,1543\n"}},
        {"SceneThatCannotBeRead",
         R"sh(echo '<' >$F3/iSceneInfo.xml
              fails 3 tyksim track r total_gain --csv
              fails 3 tyksim show $F3)sh",
         {"\n1,1,3,3,3,\n", "_sofID_3: total_gain: ", "iSceneInfo.xml: cannot be read"}},
        {"NoScene",
         R"sh(rm $F2/iScene* $F2/*ISCENE_INFO*; echo '<' >$F3/iSceneInfo.xml
              fails 3 tyksim track r total_gain KELV_TAG_WB_GAINS.red --json)sh",
         {R"("frame":2,"request":2,"sof":2,"values":{"total_gain":null,"KELV_TAG_WB_GAINS.red":1.767})"}},
    };
}

}  // namespace

Rows showRows() {
    Rows rows = {
        // A replay takes the image that the file system lists first.
        {"FirstOfSeveralImages",
         R"sh(cp $F2/FCWH* $F2/FCWH_2_0_96_32_nv21.yuv
              first=$(ls -U $F2 | grep -m 1 FCWH)
              tyksim show $F2 --json | grep -c "\"image\":{\"name\":\"$first\"")sh"},
        {"OneFrameExpected", "fails 2 tyksim show r", {"selection picks 3;"}},
        {"BytesAfterTheImage",
         R"sh(tyksim show $F3 | tail -3 >o; truncate -s 8G $F3/FCWH*
              tyksim show $F3 | tail -3 | cmp - o)sh"},
        {"TagUnknown",
         "fails 2 tyksim show $F2 $F3 --tag X",
         {"_sofID_2: expected the tag X, found none", "_sofID_3: expected the tag X, found none"}},
    };
    for (const Rows& others : {images(), scenes()}) {
        rows.insert(rows.end(), others.begin(), others.end());
    }
    return rows;
}

}  // namespace tooltest

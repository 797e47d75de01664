# Joins report.html, report.css and report.js in FOLDER into one page, and writes it to OUTPUT as a text of C++. The page
# gets a policy that admits no other script: its script is known here, and so is the hash by which the policy names it.
file(READ ${FOLDER}/report.html page)
file(READ ${FOLDER}/report.css style)
file(READ ${FOLDER}/report.js script)

# The hash in base 64, six hexadecimal digits at a time: 32 bytes are ten times three, and two.
string(SHA256 hex "${script}")
string(APPEND hex 00)
set(digits ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
foreach(place RANGE 0 60 6)
  string(SUBSTRING ${hex} ${place} 6 six)
  foreach(shift 18 12 6 0)
    math(EXPR index "0x${six} >> ${shift} & 63")
    string(SUBSTRING ${digits} ${index} 1 digit)
    string(APPEND hash ${digit})
  endforeach()
endforeach()
string(REGEX REPLACE "A$" "=" hash ${hash})
string(CONCAT policy "default-src 'none'; style-src 'unsafe-inline'; script-src 'sha256-${hash}'; base-uri 'none'; "
              "form-action 'none'")

# replace(BEGIN END TEXT): what stands from one text to the other, both included, each of which is there once.
function(replace begin end text)
  string(FIND "${page}" "${begin}" first)
  string(FIND "${page}" "${end}" last)
  if(first EQUAL -1 OR last LESS first)
    message(FATAL_ERROR "report.html has no ${begin} with a ${end} behind it")
  endif()
  string(LENGTH "${end}" length)
  math(EXPR last "${last} + ${length}")
  string(SUBSTRING "${page}" 0 ${first} before)
  string(SUBSTRING "${page}" ${last} -1 behind)
  set(page "${before}${text}${behind}" PARENT_SCOPE)
endfunction()
replace("<link rel=\"stylesheet\"" "report.css\">"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"${policy}\">\n<style>${style}</style>")
replace("<tbody>" "</tbody>" "<tbody>\n@SUMS@</tbody>")
set(data "<script type=\"application/json\" id=\"report\">")
replace("${data}" "</script>" "${data}@REPORT@</script>")
replace("<script src=" "report.js\"></script>" "<script>${script}</script>")

file(WRITE ${OUTPUT} "#include <string_view>\n
namespace tsport::report {\n
extern const std::string_view page_template;
const std::string_view page_template = R\"PAGE(${page})PAGE\";\n
}  // namespace tsport::report\n")

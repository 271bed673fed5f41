// The two firmware images: "dual_image_status", "active_image" (GET, POST),
// "image_status", "image_operation", "image_description", "copy_image".
//
// Each handler reads or changes the image slots through the platform's image
// calls and answers through the response builder. The message of a failure
// goes to last_error_text and the log (level 4); the client sees "respCode"
// (the platform's result where the resource passes it on, -1 or -99
// otherwise) and, for a refused delete, the error code 143 (no image in the
// slot) or 147 (the platform refused it: the image runs or boots next).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "core/handler.h"
#include "core/validate.h"
#include "jobs/diag_text.h"
#include "jobs/fw_common.h"
#include "support/log.h"
#include "support/mem.h"

using veltrum::handler::Outcome;
using veltrum::jobs::DescrText;
using veltrum::jobs::LabelText;
using veltrum::jobs::message;

namespace {

constexpr uint32_t kUnit = 1;
constexpr const char *kDowngradeLimit = "7.8.11.19";
constexpr size_t kMaxRequestLabel = 39;
constexpr size_t kMaxDescription = OPEN_IMAGE_DESCR_SIZE - 1;
constexpr int kErrNoImage = 143;
constexpr int kErrDeleteRefused = 147;

bool known_label(const char *label) {
  return label && (std::strcmp(label, "image1") == 0 || std::strcmp(label, "image2") == 0);
}

// A member's text when it is a JSON text; null otherwise.
const char *text_member(json_object *value) {
  return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : nullptr;
}

open_buffdesc in_text(const char *text) {
  return {static_cast<uint32_t>(std::strlen(text) + 1), const_cast<char *>(text)};
}

// Runs the steps of a read in order: the first failing one sets rc to the
// platform's result, logs its message (given the result) and ends the chain.
class Steps {
 public:
  explicit Steps(Outcome &out, bool result_as_rc = true) : out_(out), result_as_rc_(result_as_rc) {}
  bool operator()(int result, const char *format) {
    if (result == OPEN_E_NONE) return true;
    out_.rc = result_as_rc_ ? result : -1;
    veltrum::jobs::result_message(format, result);
    return false;
  }

 private:
  Outcome &out_;
  bool result_as_rc_;
};

// The running image's label and description (unit, names, description).
struct ActiveImage {
  uint32_t unit = 0;
  LabelText version1{}, version2{}, label{};
  DescrText descr{};
};

bool read_active(Steps &step, ActiveImage &a, const char *unit_error) {
  return step(rpcclt_openapiSystemLocalUnitGet(&g_client_handle, &a.unit), unit_error) &&
         step(veltrum::jobs::image_names(&g_client_handle, a.unit, a.version1, a.version2, a.label),
              "openapiImageNamesGet Failed (%d).") &&
         step(veltrum::jobs::image_descr(&g_client_handle, a.label, a.descr), "openapiImageDescrGet Failed (%d).");
}

void add_text(json_object *object, const char *key, const char *text) {
  json_object_object_add(object, key, json_object_new_string(text));
}

}  // namespace

VELTRUM_HANDLER(dual_image_status_get) {
  Outcome out;
  Steps step(out);
  LabelText label1{}, label2{}, version1{}, version2{}, active{};
  DescrText descr1{}, descr2{};
  uint32_t unit = 0;
  json_object *data = nullptr;
  if (step(veltrum::jobs::image_labels(&g_client_handle, label1, label2), "openapiImageLabelsGet Failed (%d).") &&
      step(veltrum::jobs::image_descr(&g_client_handle, label1, descr1), "openapiImageDescrGet Failed (%d).") &&
      step(veltrum::jobs::image_descr(&g_client_handle, label2, descr2), "openapiImageDescrGet Failed (%d).") &&
      step(rpcclt_openapiSystemLocalUnitGet(&g_client_handle, &unit), "openapiSystemLocalUnitGet Failed (%d).") &&
      step(veltrum::jobs::image_names(&g_client_handle, unit, version1, version2, active),
           "openapiImageNamesGet Failed (%d).")) {
    data = json_object_new_object();
    add_text(data, "image1Label", label1);
    add_text(data, "image1Descr", descr1);
    add_text(data, "image1Version", version1);
    add_text(data, "image2Label", label2);
    add_text(data, "image2Descr", descr2);
    add_text(data, "image2Version", version2);
    add_text(data, "activatedImgLabel", active);
    out.rc = 0;
  }
  out.finish_read(response, "dualImageStatus", data);
}

VELTRUM_HANDLER(active_image_get) {
  Outcome out;
  Steps step(out, false);
  ActiveImage a;
  json_object *data = nullptr;
  if (read_active(step, a, "Failed to get system local unit(%d).")) {
    data = json_object_new_object();
    add_text(data, "label", a.label);
    add_text(data, "imageDescr", a.descr);
    out.rc = 0;
  }
  out.finish_read(response, "active_image", data);
}

VELTRUM_HANDLER(active_image_post) {
  Outcome out;
  JsonField f[] = {{"label", nullptr}};
  if (parse_json_fields("active_image", request, f, std::size(f), false) != 0) {
    message("Parsing error - %s ", "active_image");
    out.rc = -99;
    out.finish_plain(response, "active_image");
    return;
  }
  char label[kMaxRequestLabel + 1] = {};
  strncpyt(label, text_member(f[0].value), kMaxRequestLabel);
  if (!known_label(label)) {
    message("Invalid label (%s): supported values : (image1) or (image2)", label);
    out.rc = OPEN_E_PARAM;
    out.finish_plain(response, "active_image");
    return;
  }

  Steps quiet(out, false);
  ActiveImage a;
  if (!read_active(quiet, a, "Failed to get system local unit(%d).")) {
    message("Failed to get label and description for actived image");
  } else if (std::strncmp(a.label, label, std::strlen(label)) == 0) {
    agent_log(7, "The image:%s is already activated.", label);
    out.rc = 0;
  } else {
    Steps step(out);
    open_buffdesc l = in_text(label);
    uint32_t unit = 0;
    if (step(rpcclt_openapiImageLabelIsValid(&g_client_handle, &l), "openapiImageLabelIsValid Failed (%d).") &&
        step(rpcclt_openapiSystemLocalUnitGet(&g_client_handle, &unit), "openapiSystemLocalUnitGet Failed (%d).") &&
        step(veltrum::jobs::image_activate(&g_client_handle, unit, label), "openapiImageActivate Failed (%d)."))
      out.rc = 0;
  }
  out.finish_plain(response, "active_image");
}

VELTRUM_HANDLER(image_status_get) {
  Outcome out;
  json_object *data = json_object_new_object();

  uint32_t length = 0;
  char next_label[OPEN_IMAGE_LABEL_SIZE] = {};
  char versions[2][OPEN_IMAGE_LABEL_SIZE] = {};
  if (rpcclt_openapiImageFileNameMaxLengthGet(&g_client_handle, &length) == OPEN_E_NONE) {
    // The platform sizes the texts; the answer is kept within our buffers.
    uint32_t size = std::min<uint32_t>(length + 1, OPEN_IMAGE_LABEL_SIZE);
    char texts[4][OPEN_IMAGE_LABEL_SIZE] = {};
    open_buffdesc d[4];
    for (int i = 0; i < 4; ++i) d[i] = {size, texts[i]};
    if (rpcclt_openapiImageVersionAndNameGet(&g_client_handle, kUnit, &d[0], &d[1], &d[2], &d[3]) == OPEN_E_NONE) {
      for (auto &text : texts) text[OPEN_IMAGE_LABEL_SIZE - 1] = '\0';
      add_text(data, "image1Version", texts[0]);
      add_text(data, "image2Version", texts[1]);
      add_text(data, "nextActive", texts[3]);
      add_text(data, "currActive", texts[2]);
      std::memcpy(versions, texts, sizeof versions);
      std::memcpy(next_label, texts[3], sizeof next_label);
    }
  }

  LabelText label1{}, label2{};
  DescrText descr1{}, descr2{};
  if (veltrum::jobs::image_labels(&g_client_handle, label1, label2) == OPEN_E_NONE) {
    if (veltrum::jobs::image_descr(&g_client_handle, label1, descr1) != OPEN_E_NONE) descr1[0] = '\0';
    if (veltrum::jobs::image_descr(&g_client_handle, label2, descr2) != OPEN_E_NONE) descr2[0] = '\0';
  }
  add_text(data, "img1Descriptor", descr1);
  add_text(data, "img2Descriptor", descr2);

  const char *next_version = std::strncmp(next_label, "image1", 6) == 0 ? versions[0] : versions[1];
  int check = version_check(next_version);
  if (check == -2)
    agent_log(4, "Invalid version");
  else
    json_object_object_add(data, "downgradeCheck", json_object_new_int(check == 1 ? 1 : 0));
  add_text(data, "downgradeLimit", kDowngradeLimit);
  out.rc = 0;
  out.finish_read(response, "image_status", data);
}

VELTRUM_HANDLER(image_operation_post) {
  Outcome out;
  out.rc = -1;
  JsonField f[] = {{"imageName", nullptr}, {"imageStatus", nullptr}};
  const char *name = nullptr;
  uint32_t max_length = 0;
  int64_t operation = 0;
  if (parse_json_fields("image_operation", request, f, std::size(f), false) != 0 ||
      !(name = text_member(f[0].value))) {
    message("Failed to parse image label\n");
  } else if (rpcclt_openapiImageFileNameMaxLengthGet(&g_client_handle, &max_length) != OPEN_E_NONE ||
             std::strlen(name) > max_length) {
    message("Failed to validate image label\n");
  } else if (!veltrum::handler::read_int(f[1].value, operation) || operation < 1 || operation > 3) {
    message("Failed to parse image description\n");
  } else if (operation == 1) {
    int rc = veltrum::jobs::image_activate(&g_client_handle, kUnit, name);
    if (rc == OPEN_E_NONE)
      out.rc = 0;
    else
      message("Failed to set image operation %d\n", rc);
  } else if (operation == 2) {
    out.rc = 0;
  } else {
    open_buffdesc l = in_text(name);
    int rc = rpcclt_openapiImageDelete(&g_client_handle, kUnit, &l);
    if (rc == OPEN_E_NONE) {
      out.rc = 0;
    } else {
      out.code(rc == OPEN_E_EMPTY ? kErrNoImage : kErrDeleteRefused);
      message("Failed to delete image %s (%d)", name, rc);
    }
  }
  out.finish_scalar(response, "image_operation");
}

VELTRUM_HANDLER(image_description_post) {
  Outcome out;
  out.rc = -1;
  JsonField f[] = {{"imageName", nullptr}, {"imageDescription", nullptr}};
  const char *name = nullptr;
  const char *text = nullptr;
  char descr[kMaxDescription + 1] = {};
  if (parse_json_fields("image_description", request, f, std::size(f), false) != 0) {
    message("Failed to parse 'image_description'\n");
  } else if (!(name = text_member(f[0].value))) {
    message("Failed to parse image name\n");
  } else if (!known_label(name)) {
    message("Failed to validate image label\n");
  } else if (!(text = text_member(f[1].value))) {
    message("Failed to parse image description\n");
  } else if (std::strlen(strncpyt(descr, text, kMaxDescription)) > kMaxDescription + 1) {
    // The copy holds at most 255 characters: a longer description is cut.
    message("Failed to validate image description\n");
  } else {
    open_buffdesc l = in_text(name);
    open_buffdesc d = in_text(descr);
    int rc = rpcclt_openapiImageDescrSet(&g_client_handle, &l, &d);
    if (rc == OPEN_E_NONE)
      out.rc = 0;
    else
      message("Failed to set image description %d", rc);
  }
  out.finish_plain(response, "image_description");
}

VELTRUM_HANDLER(copy_image_post) {
  Outcome out;
  out.rc = -1;
  json_object *body = nullptr;
  json_object *source = nullptr;
  json_object *destination = nullptr;
  if (request) json_object_object_get_ex(request, "copy_image", &body);
  if (body) {
    json_object_object_get_ex(body, "srcImage", &source);
    json_object_object_get_ex(body, "dstImage", &destination);
  }
  const char *src = text_member(source);
  const char *dst = text_member(destination);
  if (!src) {
    message("Failed to parse source image\n");
  } else if (!known_label(src)) {
    message("Failed to validate source image name\n");
  } else if (!dst) {
    message("Failed to parse destination image\n");
  } else if (!known_label(dst)) {
    message("Failed to validate destination image name\n");
  } else {
    open_buffdesc s = in_text(src);
    open_buffdesc d = in_text(dst);
    int rc = rpcclt_openapiFileCopy(&g_client_handle, kUnit, &s, &d);
    if (rc == OPEN_E_NONE)
      out.rc = 0;
    else
      message("Failed to copy file. Error:%d", rc);
  }
  out.finish_plain(response, "copy_image");
}

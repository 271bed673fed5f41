// Firmware images: the two slots, activation, copy, description, upgrade;
// and the calls of the system the firmware flows need (the local unit, the
// machine model, the reload).
//
// The switch keeps two image slots, "image1" and "image2". Each holds a
// firmware file (or nothing, once deleted) with its version and a
// description. One image runs (the active one); one is marked to boot next;
// a reload boots the image marked next. The stand-alone switch is unit 1.
//
// Results beyond success, as the platform gives them:
//   OPEN_E_PARAM      a label that names no slot, a unit other than the
//                     local one, a text too long for the switch, a path
//                     that is not absolute;
//   OPEN_E_EMPTY      the slot holds no image (description: there is none);
//   OPEN_E_INUSE      the slot holds the running image (it can be neither
//                     overwritten nor deleted) or the one marked to boot next
//                     (it cannot be deleted);
//   OPEN_E_EXISTS     activation of the image that runs and boots next already;
//   OPEN_E_NOT_FOUND  an image file that does not exist, an invalid label;
//   OPEN_E_FAIL       a file that is no valid image (bad header, truncated,
//                     checksum mismatch): the slot is left as it was.
#pragma once

#include "platform/family.h"

// Sizes of the texts, terminating NUL included.
enum {
  OPEN_IMAGE_LABEL_SIZE = 40,    // a label, a version
  OPEN_IMAGE_DESCR_SIZE = 256,   // a description: at most 255 characters
  OPEN_MACHINE_MODEL_SIZE = 256, // the machine model
};

#define VELTRUM_SETTINGS_firmware(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_firmware(X)                                                                     \
  /* The unit number of this switch in its stack (1 for a stand-alone switch). */                    \
  X(rpcclt_openapiSystemLocalUnitGet, (openapiClientHandle_t * client, uint32_t * unit))            \
  /* The machine model as registered by the maker ("VSW-2428P", say). */                             \
  X(rpcclt_openapiSystemRegMachineModelGet, (openapiClientHandle_t * client, open_buffdesc * model)) \
  /* Reboots the switch: the image marked next boots, the saved configuration is loaded. */         \
  X(rpcclt_openapiImageLabelsGet,                                                                    \
    (openapiClientHandle_t * client, open_buffdesc * image1Label, open_buffdesc * image2Label))      \
  /* OPEN_E_EMPTY (with an empty text) when the image has no description. */                        \
  X(rpcclt_openapiImageDescrGet,                                                                     \
    (openapiClientHandle_t * client, const open_buffdesc *label, open_buffdesc *descr))              \
  X(rpcclt_openapiImageDescrSet,                                                                     \
    (openapiClientHandle_t * client, const open_buffdesc *label, const open_buffdesc *descr))        \
  /* The versions of both slots ("" for an empty slot) and the label of the running image. */       \
  X(rpcclt_openapiImageNamesGet, (openapiClientHandle_t * client, uint32_t unit, open_buffdesc * image1Version, \
                                  open_buffdesc * image2Version, open_buffdesc * activeLabel))        \
  /* The versions of both slots, the label of the running image and of the one that boots next. */ \
  X(rpcclt_openapiImageVersionAndNameGet,                                                            \
    (openapiClientHandle_t * client, uint32_t unit, open_buffdesc * image1Version,                   \
     open_buffdesc * image2Version, open_buffdesc * currentActive, open_buffdesc * nextActive))      \
  /* The longest image label or version the switch names, without its NUL. */                       \
  X(rpcclt_openapiImageFileNameMaxLengthGet, (openapiClientHandle_t * client, uint32_t * length))   \
  /* Marks the image to boot next; `updateBootCode` also rewrites the boot loader (not done here). */ \
  X(rpcclt_openapiImageActivate, (openapiClientHandle_t * client, uint32_t unit, const open_buffdesc *label, \
                                  OPEN_BOOL_t updateBootCode))                                        \
  X(rpcclt_openapiImageDelete, (openapiClientHandle_t * client, uint32_t unit, const open_buffdesc *label)) \
  /* 0 when the label names an image slot of the switch, OPEN_E_NOT_FOUND otherwise. */             \
  X(rpcclt_openapiImageLabelIsValid, (openapiClientHandle_t * client, const open_buffdesc *label))   \
  /* Validates the image file at `path` (a path of the switch) and writes it into the slot. */     \
  X(rpcclt_openapiImageUpgrade,                                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *path, const open_buffdesc *label))         \
  /* Copies the image of one slot into the other. */                                                 \
  X(rpcclt_openapiFileCopy, (openapiClientHandle_t * client, uint32_t unit, const open_buffdesc *source, \
                             const open_buffdesc *destination))

VELTRUM_PLATFORM_FAMILY(firmware, 7)

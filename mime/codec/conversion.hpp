// mime/codec/conversion.hpp - a whole body through transfer coding and character translation at
// once
#pragma once

#include "mime/codec/transfer_codec.hpp"
#include "mime/export.hpp"

class NLS_Translator;

/// Decodes `in` and then translates it to the local code page, into `out`. `decoder` and
/// `translator` may be null, for a step that is left out; the streams may not. With both, the
/// decoded body passes through memory as a whole.
///
/// Returns the translator's result if there is a translator (0 for success), else the decoder's,
/// else 0.
///
/// The codec stays the caller's, and its tail comes when the caller deletes it; `out` has to live
/// until then. Only with both steps there is nowhere that the tail could go: `decoder->output` is
/// null afterwards, and a group that is still open is dropped.
VELLUM_EXPORT int Internet_to_Local(MIME_TransferDecoding * decoder, NLS_Translator * translator,
                                    iSimpleStream * in, oSimpleStream * out);

/// Translates `in` from the local code page and then encodes it, into `out`. As above; but with
/// both steps the encoder does not run if the translator returns neither 0 nor 11 (its output can
/// be used), and that is then the result; otherwise the encoder's is. The encoder's tail goes to
/// `out` in any case.
VELLUM_EXPORT int Local_to_Internet(MIME_TransferEncoding * encoder, NLS_Translator * translator,
                                    iSimpleStream * in, oSimpleStream * out);

import {
  cancelConversion,
  convert,
  convertWithLocalData,
  getConversionResult,
  progressInfo,
  upload,
  vond,
} from './vond';
import { createClient } from './vond/client';
import { run } from './scenario';
import type { Answer } from './scenario';

const answerOf = <T>({ data, response }: { data?: T; response: Response }): Answer<T> => ({
  status: response.status,
  value: data,
});

void run('@hey-api/openapi-ts', (baseUrl, auth) => {
  const client = createClient({ baseUrl, auth });
  return {
    upload: async (name, picture) =>
      answerOf(await upload({ client, path: { name }, body: picture })),
    convert: async (body) => answerOf(await convert({ client, body })),
    progress: async (requestId) => answerOf(await progressInfo({ client, path: { requestId } })),
    cancel: async (cancelId) => answerOf(await cancelConversion({ client, path: { cancelId } })),
    result: async (name) => answerOf(await getConversionResult({ client, path: { name } })),
    // Written out with each generator: of a literal the compiler also says what its types lack.
    convertInside: async (fileName, imgData, data) =>
      answerOf(
        await convertWithLocalData({
          client,
          body: {
            fileName,
            imgData,
            configuration: 'sRGB',
            setOptions: {
              setOptions: [
                { 'local:': { filename: 'own.icc', data, option: '--profile' } },
                { '--quality': '80' },
              ],
            },
          },
        }),
      ),
    run: async (argument) => answerOf(await vond({ client, body: [argument] })),
  };
});

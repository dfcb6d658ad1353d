import createClient from 'openapi-fetch';

import type { paths } from './paths';
import { run } from './scenario';
import type { Answer } from './scenario';

const answerOf = <T>({ data, response }: { data?: T; response: Response }): Answer<T> => ({
  status: response.status,
  value: data,
});

void run('openapi-typescript', (baseUrl, user) => {
  const headers = user ? { Authorization: `Basic ${btoa(user)}` } : {};
  const client = createClient<paths>({ baseUrl, headers });
  const text = { parseAs: 'text' } as const;
  return {
    // The generator types bytes as a string; they are sent unchanged.
    upload: async (name, picture) =>
      answerOf(
        await client.POST('/upload/{name}', {
          ...text,
          params: { path: { name } },
          headers: { 'Content-Type': 'application/octet-stream' },
          body: '',
          bodySerializer: () => picture,
        }),
      ),
    convert: async (body) => answerOf(await client.POST('/convert', { ...text, body })),
    progress: async (requestId) =>
      answerOf(
        await client.GET('/progressInfo/{requestId}', { ...text, params: { path: { requestId } } }),
      ),
    cancel: async (cancelId) =>
      answerOf(
        await client.GET('/cancelConversion/{cancelId}', {
          ...text,
          params: { path: { cancelId } },
        }),
      ),
    result: async (name) =>
      answerOf(
        await client.GET('/getConversionResult/{name}', {
          parseAs: 'blob',
          params: { path: { name } },
        }),
      ),
    // Written out with each generator: of a literal the compiler also says what its types lack.
    convertInside: async (fileName, imgData, data) =>
      answerOf(
        await client.POST('/convertWithLocalData', {
          ...text,
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
    run: async (argument) => answerOf(await client.POST('/vond', { body: [argument] })),
  };
});
